// The bytes of a source as libjpeg asks for them; see jpeg_input.h.
#include "runtime/native/formats/jpeg/jpeg_input.h"

#include <jerror.h>

#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "runtime/native/imagework/limits.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kWindow = size_t{64} << 10;
constexpr unsigned kWholeSegment = 0xFFFF;
constexpr JOCTET kEndMarker[] = {0xFF, JPEG_EOI};

// The blocks that the library reads at one go of a file of several scans.
uint64_t blocks_at_once(const jpeg_decompress_struct& codec) {
    const uint64_t in_row = uint64_t{codec.MCUs_per_row} * static_cast<uint64_t>(codec.blocks_in_MCU);
    return codec.comps_in_scan == 1 ? in_row * static_cast<uint64_t>(codec.cur_comp_info[0]->v_samp_factor) : in_row;
}

}  // namespace

JpegInput::JpegInput(SharedSource source, bool takes_end, uint64_t end)
    : JpegErrors(Failure::kDamaged),
      m_source(std::move(source)),
      m_all(m_source->in_memory()),
      m_takes_end(takes_end),
      m_end(std::min(m_source->size(), end)) {
    jpeg_decompress_struct* const codec = &m_codec;
    codec->err = manager();
    codec->client_data = static_cast<JpegErrors*>(this);
    run([codec] { jpeg_create_decompress(codec); });
    codec->mem->max_memory_to_use = 0;  // no limit from the environment: ours is checked before
    m_manager.init_source = &on_init;
    m_manager.fill_input_buffer = &on_fill;
    m_manager.skip_input_data = &on_skip;
    m_manager.resync_to_restart = &jpeg_resync_to_restart;
    m_manager.term_source = &on_init;
    codec->src = &m_manager;
    m_progress.progress_monitor = &on_progress;
    codec->progress = &m_progress;
}

JpegInput::~JpegInput() {
    jpeg_destroy_decompress(&m_codec);
}

void JpegInput::read_header() {
    jpeg_decompress_struct* const codec = &m_codec;
    run([codec] {
        jpeg_save_markers(codec, JPEG_APP0 + 1, kWholeSegment);
        jpeg_save_markers(codec, JPEG_APP0 + 2, kWholeSegment);
        jpeg_read_header(codec, TRUE);
        jpeg_save_markers(codec, JPEG_APP0 + 1, 0);  // nor those between scans
        jpeg_save_markers(codec, JPEG_APP0 + 2, 0);
    });
    m_in_header = false;
}

void JpegInput::start() {
    jpeg_decompress_struct* const codec = &m_codec;
    m_absorbs_scans = true;
    run([codec] { jpeg_start_decompress(codec); });
    m_absorbs_scans = false;
}

JpegInput& JpegInput::input_of(j_common_ptr codec) {
    return static_cast<JpegInput&>(*static_cast<JpegErrors*>(codec->client_data));
}
JpegInput& JpegInput::input_of(j_decompress_ptr codec) {
    return static_cast<JpegInput&>(*static_cast<JpegErrors*>(codec->client_data));
}

// Nothing is to be prepared, and nothing to be given back.
void JpegInput::on_init(j_decompress_ptr) {}

boolean JpegInput::on_fill(j_decompress_ptr codec) {
    JpegInput& in = input_of(codec);
    bool failed = false;
    try {
        in.take_window();
    } catch (...) {
        in.keep(std::current_exception());
        failed = true;
    }
    if (failed) {
        in.leave();
    }
    if (in.m_manager.bytes_in_buffer == 0) {
        in.m_reached_end = true;
        if (in.m_in_header || !in.m_takes_end) {
            in.leave_with(reinterpret_cast<j_common_ptr>(codec), JERR_INPUT_EOF);
        }
        in.m_manager.next_input_byte = kEndMarker;
        in.m_manager.bytes_in_buffer = sizeof kEndMarker;
        if (codec->arith_code != FALSE) {  // whose decoder makes up bits and gives no warning
            in.note_loss();
        }
    }
    return TRUE;
}

void JpegInput::take_window() {
    m_manager.bytes_in_buffer = 0;
    if (m_in_header && m_offset > limits::kTextBytes) {
        throw PictureError(Failure::kDamaged, "the header does not end");
    }
    const size_t wanted = m_offset < m_end ? static_cast<size_t>(std::min<uint64_t>(kWindow, m_end - m_offset)) : 0;
    if (wanted == 0) {
        return;
    }
    size_t found = wanted;
    if (!m_all.empty()) {
        m_manager.next_input_byte = m_all.data() + m_offset;
    } else {
        m_window.resize(kWindow);
        found = m_source->read_at(m_offset, std::span(m_window).first(wanted));
        m_manager.next_input_byte = m_window.data();
    }
    m_offset += found;
    m_manager.bytes_in_buffer = found;
}

void JpegInput::on_skip(j_decompress_ptr codec, long count) {
    JpegInput& in = input_of(codec);
    if (count <= 0) {
        return;
    }
    const auto wanted = static_cast<size_t>(count);
    const size_t held = std::min(wanted, in.m_manager.bytes_in_buffer);
    in.m_manager.next_input_byte += held;
    in.m_manager.bytes_in_buffer -= held;
    in.m_offset += wanted - held;
}

// Called before each step of reading scans, and for each row that is given out.
void JpegInput::on_progress(j_common_ptr codec) {
    JpegInput& in = input_of(codec);
    if (!in.m_absorbs_scans) {
        return;
    }
    // A marker that was read but not looked at yet belongs to the next step.
    in.m_sound_until = in.position() - (in.m_codec.unread_marker != 0 ? 2 : 0);
    in.m_blocks += blocks_at_once(in.m_codec);
    if (in.m_codec.input_scan_number > limits::kJpegScans || in.m_blocks > limits::kJpegBlocks) {
        in.keep_refusal();
        in.leave();
    }
}

void JpegInput::keep_refusal() {
    try {
        throw PictureError(Failure::kTooLarge, "the JPEG data has more than " + std::to_string(limits::kJpegScans) +
                                                   " scans, or more than " + std::to_string(limits::kJpegBlocks) +
                                                   " blocks in all of them");
    } catch (...) {
        keep(std::current_exception());
    }
}

// Of an end of the data that was made up, this one tells that pixels are missing: bits were needed behind it.
void JpegInput::warned(int code) {
    if (code == JWRN_HIT_MARKER && m_reached_end) {
        note_loss();
    }
}

// Called while a row of blocks is read. Its pixels are missing where the scan is the first one of the first component,
// which is the brightness of most files. A later scan would have made them better.
void JpegInput::note_loss() {
    if (m_lost_from || (m_codec.progressive_mode != FALSE && (m_codec.Ss != 0 || m_codec.Ah != 0))) {
        return;
    }
    for (int i = 0; i < m_codec.comps_in_scan; i++) {
        if (m_codec.cur_comp_info[i]->component_index == 0) {
            m_lost_from = m_codec.input_iMCU_row;
        }
    }
}

}  // namespace zelmor::imagework
