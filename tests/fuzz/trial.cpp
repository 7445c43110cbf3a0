// The steps of a trial; see trial.h.
#include "tests/fuzz/trial.h"

#include <algorithm>
#include <array>
#include <utility>

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/behaviors/metadata/jfif/jfif_data.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_extension.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/dicom/dicom_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/ico/ico_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/fuzz/watch.h"

namespace zelmor::fuzz {
namespace {

using namespace imagework;

constexpr uint64_t kBudget = limits::kMebibyte * 16;  // for the decoded pixels of one image
constexpr int64_t kSmall = 512 * 512;                 // pixels of a picture that is encoded

// Bytes that do not lie in memory as far as the readers know.
class DistantBytes final : public DataSource {
 public:
    explicit DistantBytes(const std::vector<uint8_t>& bytes) : m_bytes(bytes) {}
    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        const size_t count = offset < size() ? std::min<uint64_t>(out.size(), size() - offset) : 0;
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(count > 0 ? offset : 0), count, out.begin());
        return count;
    }

 private:
    const std::vector<uint8_t> m_bytes;
};

// Why a text would not help its reader; empty of a good one.
std::string fault_of(const std::string& text) {
    if (text.size() < 8) {
        return "the error has no text: '" + text + "'";
    }
    if (text.size() > 600) {
        return "the error's text has " + std::to_string(text.size()) + " bytes: " + text.substr(0, 200);
    }
    for (const char letter : text) {
        if (static_cast<unsigned char>(letter) < 0x20 || static_cast<unsigned char>(letter) >= 0x7F) {
            return "the error's text has a byte " + std::to_string(static_cast<unsigned char>(letter)) + ": " + text;
        }
    }
    return {};
}

embed::Bytes managed(std::span<const uint8_t> bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return {first, first + bytes.size()};
}

// Asks every pixel of a corner, whatever the form.
void look_at(const Picture& picture) {
    const Rect corner{0, 0, std::min(picture.width(), 64), std::min(picture.height(), 64)};
    std::vector<Argb> pixels(static_cast<size_t>(corner.width) * static_cast<size_t>(corner.height));
    picture.read_argb(corner, pixels);
    picture.get_argb(picture.width() - 1, picture.height() - 1);
}

std::vector<FormatEncoding> encodings() {
    return {BmpEncoding{}, DicomEncoding{}, GifEncoding{}, IcoEncoding{},  Jpeg2000Encoding{}, JpegEncoding{},
            PngEncoding{}, PsdEncoding{},   TgaEncoding{}, TiffEncoding{}, WebpEncoding{}};
}

}  // namespace

Trial::Trial(const std::vector<uint8_t>& file, Lots& lots, const Bounds& bounds)
    : m_file(file), m_lots(lots), m_bounds(bounds), m_in_memory(lots.one_in(2)) {}

std::vector<std::string> Trial::run() {
    step("facts", [&] { find_facts(); });
    step("end", [&] { find_end(); });
    for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal, Recovery::kNone}) {
        open_and_decode(recovery);
    }
    if (m_frames != nullptr) {
        step("read reduced", [&] { read_reduced(); });
        step("cut and shrink", [&] { cut_and_shrink(); });
        step("save", [&] { save(); });
        step("save frames", [&] { save_frames(); });
        m_frames = nullptr;
    }
    step("metadata", [&] { read_metadata(); });
    return m_findings;
}

void Trial::step(const char* name, const std::function<void()>& work) {
    const Watch watch;
    try {
        work();
        ++m_succeeded;
    } catch (const PictureError& error) {
        if (error.kind() == Failure::kInternal) {
            note(std::string(name) + ": a failure of the backend itself: " + error.what());
        }
        refuse(name, error.what());
    } catch (const embed::ManagedException& error) {
        refuse(name, error.detail());
    } catch (const std::exception& error) {
        note(std::string(name) + ": an exception of another kind: " + error.what());
    }
    if (watch.seconds() > m_bounds.seconds) {
        note(std::string(name) + ": " + std::to_string(watch.seconds()) + " s of processor time");
    }
    if (watch.bytes() > m_bounds.bytes) {
        note(std::string(name) + ": " + std::to_string(watch.bytes() >> 20) + " MiB of memory");
    }
}

void Trial::note(const std::string& finding) {
    m_findings.push_back(finding);
}

void Trial::refuse(const char* name, const std::string& text) {
    ++m_refused;
    if (const std::string fault = fault_of(text); !fault.empty()) {
        note(std::string(name) + ": " + fault);
    }
}

SharedSource Trial::source() const {
    return m_in_memory ? memory_source(m_file) : std::make_shared<DistantBytes>(m_file);
}

DecodeOptions Trial::options(Recovery recovery) const {
    DecodeOptions options;
    options.recovery = recovery;
    options.background = 0x8000C0FF;
    options.memory = std::make_shared<MemoryBudget>(kBudget);
    return options;
}

bool Trial::small(size_t frame) const {
    const FileFacts facts = m_frames->header(frame).facts;
    return facts.width * facts.height <= kSmall;
}

void Trial::find_facts() {
    const FileFacts all = probe(m_file);
    SourceBytes bytes(source(), SourceBytes::kHeaderWindow);
    const FileFacts found = probe(bytes);
    if (all.format != found.format || all.readable != found.readable || all.width != found.width) {
        note("facts: the bytes in memory and those of a file have different ones");
    }
}

// As a stream is read: never more than is asked for.
void Trial::find_end() {
    const auto end = picture_end(probe(m_file));
    uint64_t known = 0;
    while (known < m_file.size()) {
        const uint64_t needed = end->needed(std::span(m_file).first(known));
        if (needed <= known) {
            return;
        }
        known = std::min<uint64_t>(needed, m_file.size());
    }
}

void Trial::open_and_decode(Recovery recovery) {
    static constexpr std::array kOpen{"open", "open, consistent", "open, maximal"};
    static constexpr std::array kHeader{"headers", "headers, consistent", "headers, maximal"};
    static constexpr std::array kDecode{"decode", "decode, consistent", "decode, maximal"};
    const auto mode = static_cast<size_t>(recovery);
    const DecodeOptions decode = options(recovery);
    m_frames = nullptr;
    step(kOpen[mode], [&] { m_frames = backend().open_frames(source(), probe(m_file), decode); });
    if (m_frames == nullptr) {
        return;
    }
    const size_t count = m_frames->count();
    if (count == 0) {
        note("open: no frame, and no error");
        m_frames = nullptr;
        return;
    }
    step(kHeader[mode], [&] {
        for (size_t i = 0; i < std::min<size_t>(count, 16); ++i) {
            m_frames->header(i);
        }
        m_frames->header(count - 1);
    });
    for (const size_t index : {size_t{0}, size_t{1}, count - 1}) {
        if (index >= count || (index == count - 1 && index < 2 && index != 0)) {
            continue;
        }
        step(kDecode[mode], [&] {
            const auto picture = backend().decode_frame(m_frames, index, decode);
            picture->decode();
            look_at(*picture);
        });
    }
}

// A smaller copy or the decoder's own reduction, row by row and in bands.
void Trial::read_reduced() {
    FrameCopy copy = m_frames->open_copy(0, {1, 1});
    const auto reader =
        copy.reader != nullptr ? std::move(copy.reader) : m_frames->open_reduced(0, m_frames->reduction(0, 8));
    const RowsHeader header = reader->header();
    const uint64_t row = header.form.pixel_size() * static_cast<uint64_t>(header.width);
    const auto rows = static_cast<int32_t>(std::min<uint64_t>(static_cast<uint64_t>(header.height), kBudget / row));
    for (int32_t y = 0; y < rows;) {
        const int32_t band = std::min<int32_t>(rows - y, 1 + static_cast<int32_t>(m_lots.below(16)));
        std::vector<uint8_t> samples(row * static_cast<uint64_t>(band));
        reader->read(band, samples);
        y += band;
    }
    for (const Rect& lost : reader->lost()) {
        if (lost.x < 0 || lost.y < 0 || lost.width <= 0 || lost.height <= 0 || lost.width > header.width - lost.x ||
            lost.height > header.height - lost.y) {
            note("read reduced: an area of lost pixels goes beyond the picture");
        }
    }
}

void Trial::cut_and_shrink() {
    if (!small(0)) {
        return;
    }
    const DecodeOptions decode = options(Recovery::kNone);
    const auto cut = backend().decode_frame(m_frames, 0, decode);
    const int32_t width = 1 + static_cast<int32_t>(m_lots.below(static_cast<size_t>(cut->width())));
    const int32_t height = 1 + static_cast<int32_t>(m_lots.below(static_cast<size_t>(cut->height())));
    const Rect area{(cut->width() - width) / 2, (cut->height() - height) / 2, width, height};
    const auto shrunk = cut->copy();
    cut->crop(area);
    cut->resize(std::max(1, width / 3), std::max(1, height / 3), static_cast<Resampling>(m_lots.below(9)));
    look_at(*cut);
    shrunk->resize(std::max(1, shrunk->width() / 4), std::max(1, shrunk->height() / 4), Resampling::kLanczos);
    look_at(*shrunk);
}

// The picture as it came from its file, in any format. What was written has to be readable.
void Trial::save() {
    if (!small(0)) {
        return;
    }
    const auto picture = backend().decode_frame(m_frames, 0, options(Recovery::kNone));
    const auto formats = encodings();
    Encoding encoding;
    encoding.format = formats[m_lots.below(formats.size())];
    const EncodedBytes written = picture->encode(encoding);
    try {
        look_at(*backend().decode(written.bytes(), options(Recovery::kNone)));
    } catch (const PictureError& error) {
        note(std::string("save: what was written as ") + format_name(format_of(encoding)) +
             " cannot be read: " + error.what());
    }
}

// Its first frames as an animation or as pages of its own format, copied where that can be.
void Trial::save_frames() {
    const FileFacts facts = m_frames->header(0).facts;
    const bool several = facts.format == Format::kGif || facts.format == Format::kTiff ||
                         facts.format == Format::kPng || facts.format == Format::kWebp;
    if (!several || m_frames->count() < 2) {
        return;
    }
    Encoding encoding = default_encoding(facts.format);
    encoding.copies_frames = m_lots.one_in(2);
    std::vector<std::unique_ptr<Picture>> pictures;
    std::vector<FrameToWrite> frames;
    for (size_t i = 0; i < std::min<size_t>(m_frames->count(), 4) && small(i); ++i) {
        const FrameHeader header = m_frames->header(i);
        pictures.push_back(backend().decode_frame(m_frames, i, options(Recovery::kNone)));
        FrameToWrite frame{pictures.back().get(), header.duration, &encoding};
        if (encoding.copies_frames && facts.format == Format::kGif) {
            frame.picture = nullptr;
            frame.origin = {m_frames, i};
            frame.gif.control = header.control.value_or(GifControl{});
        }
        frames.push_back(std::move(frame));
    }
    if (frames.size() > 1) {
        backend().encode_frames(frames);
    }
}

void Trial::read_metadata() {
    const embed::FileMetadata found = embed::find_metadata(source());
    const auto attempt = [&](const char* name, const std::function<void()>& work) { step(name, work); };
    attempt("EXIF of TIFF", [&] {
        if (embed::metadata_format(managed(m_file)) == imagework::Format::kTiff) {
            embed::read_exif_of_tiff(source());
        }
    });
    attempt("EXIF", [&] {
        if (!found.exif.empty()) {
            embed::read_exif(embed::write_exif(*embed::read_exif(found.exif, m_lots.one_in(2))), false);
        }
    });
    attempt("XMP", [&] {
        if (!found.xmp.empty()) {
            const std::string text = embed::joined_xmp(found.xmp, found.extended_xmp)->text();
            embed::read_xmp_packet(managed({reinterpret_cast<const uint8_t*>(text.data()), text.size()}));
        }
    });
    attempt("JFIF", [&] {
        if (const auto jfif = embed::read_jfif(found.jfif, found.jfif_extension)) {
            embed::write_jfif(*jfif);
        }
    });
    attempt("write metadata", [&] {
        embed::MetadataToWrite again;
        static_cast<embed::FileMetadata&>(again) = found;
        embed::find_metadata(embed::with_metadata(managed(m_file), again));
    });
}

}  // namespace zelmor::fuzz
