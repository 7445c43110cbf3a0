// The entries of a file as frames; see ico_codec.h.
#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "runtime/native/formats/ico/ico_bitmap.h"
#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/ico/ico_piece.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void damaged_directory(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

class IcoFile final : public IcoFrames {
 public:
    IcoFile(const SharedSource& source, const DecodeOptions& options) : m_source(source), m_options(options) {
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        const ByteReader in(bytes);
        if (!is_ico(in)) {
            damaged_directory("the data does not begin with the directory of icons or cursors");
        }
        const IcoDirectory directory = read_ico_directory(in);
        m_kind = directory.kind;
        const bool lenient = options.recovery != Recovery::kNone;
        for (size_t i = 0; i < directory.count; i++) {
            IcoEntry entry = read_ico_entry(in, directory, i);
            if (!in.ok()) {
                if (lenient) {
                    break;
                }
                damaged_directory("the directory ends after " + std::to_string(i) + " of " +
                                  std::to_string(directory.count) + " entries");
            }
            if (!bytes.has(entry.at, entry.size)) {
                if (!lenient) {
                    damaged_directory("entry " + std::to_string(i) + " of the directory does not lie within the file");
                }
                if (entry.at >= source->size()) {
                    continue;
                }
                entry.size = static_cast<uint32_t>(source->size() - entry.at);
            }
            m_entries.push_back(entry);
        }
        if (m_entries.empty()) {
            damaged_directory("no entry of the directory lies within the file");
        }
    }

    size_t count() const override { return m_entries.size(); }
    IcoKind kind() const override { return m_kind; }

    const IcoEntry& entry(size_t index) const override {
        assert(index < count());
        return m_entries[index];
    }

    IcoEntryEncoding encoding(size_t index) const override {
        return {is_png(index) ? IcoEntryFormat::kPng : IcoEntryFormat::kBmp, facts(index).bits_per_pixel};
    }

    std::vector<uint8_t> bytes(size_t index) const override { return all_bytes(*piece(index)); }

    FrameHeader header(size_t index) const override {
        FrameHeader result;
        FileFacts& found = result.facts;
        found = facts(index);
        found.format = Format::kIco;
        found.encoding = IcoEncoding{m_kind, encoding(index), entry(index).hot_spot};
        result.area = {0, 0, static_cast<int32_t>(found.width), static_cast<int32_t>(found.height)};
        return result;
    }

    std::unique_ptr<RowReader> open(size_t index) const override {
        const SharedSource bytes = piece(index);
        if (is_png(index)) {
            return open_png(bytes, {m_options.recovery != Recovery::kNone, m_options.recovery == Recovery::kMaximal,
                                    m_options.memory});
        }
        return open_ico_bitmap(bytes, read_ico_bitmap(bytes, entry(index)), m_options);
    }

 private:
    // The settings and the format are left to header().
    FileFacts facts(size_t index) const {
        FileFacts facts;
        if (is_png(index)) {
            SourceBytes bytes(piece(index), SourceBytes::kHeaderWindow);
            facts = probe(bytes);
            if (!facts.readable) {
                damaged_directory("the PNG header of entry " + std::to_string(index) + " is incomplete");
            }
            // The settings are those of the file, which is no PNG.
            facts.frame_count = 1;
            facts.has_still = false;
            facts.variant = Variant::kUsual;
        } else {
            const IcoBitmap bitmap = read_ico_bitmap(piece(index), entry(index));
            facts.readable = true;
            facts.width = bitmap.width;
            facts.height = bitmap.height;
            facts.bits_per_pixel = bitmap.bits;
            facts.has_alpha = bitmap.has_mask || bitmap.bits == 32;
        }
        return facts;
    }

    SharedSource piece(size_t index) const { return piece_of(m_source, entry(index).at, entry(index).size); }

    bool is_png(size_t index) const {
        SourceBytes bytes(m_source, SourceBytes::kHeaderWindow);
        return is_png_entry(ByteReader(bytes), entry(index));
    }

    SharedSource m_source;
    DecodeOptions m_options;
    IcoKind m_kind = IcoKind::kIcon;
    std::vector<IcoEntry> m_entries;
};

}  // namespace

std::shared_ptr<const IcoFrames> open_ico(const SharedSource& source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<const IcoFile>(source, options);
}

}  // namespace zelmor::imagework
