// ICO and CUR: a directory of pictures that lie behind it.
#include <algorithm>
#include <string>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/ico/ico_directory.h"
#include "runtime/native/formats/ico/ico_encoding.h"

namespace zelmor::imagework {
namespace {

// Of the first entry, as the directory states it.
void probe_ico(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    const IcoDirectory directory = read_ico_directory(in);
    const IcoEntry first = read_ico_entry(in, directory, 0);
    facts.frame_count = directory.count;
    facts.width = first.width;
    facts.height = first.height;
    facts.bits_per_pixel = first.bits_per_pixel;
    facts.has_alpha = true;
    facts.readable = in.has(0, IcoDirectory::kHeaderSize + directory.count * IcoDirectory::kEntrySize);
    IcoEncoding encoding;
    encoding.kind = directory.kind;
    facts.encoding = encoding;
}

// Behind the last byte of any entry.
class IcoEnd final : public PictureEnd {
 public:
    explicit IcoEnd(const FileFacts& facts) : PictureEnd(facts) {}

    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (!in.has(0, IcoDirectory::kHeaderSize)) {
            return IcoDirectory::kHeaderSize;
        }
        const IcoDirectory directory = read_ico_directory(in);
        uint64_t end = IcoDirectory::kHeaderSize + directory.count * IcoDirectory::kEntrySize;
        if (!in.has(0, end)) {
            return end;
        }
        for (size_t i = 0; i < directory.count; i++) {
            const IcoEntry entry = read_ico_entry(in, directory, i);
            end = std::max(end, uint64_t{entry.at} + entry.size);
            if (!m_counted) {
                add_picture(entry.width, entry.height, kMostBits);
            }
        }
        m_counted = true;
        return end;
    }

 private:
    static constexpr int kMostBits = 64;
    bool m_counted = false;
};

std::unique_ptr<PictureEnd> ico_end(const FileFacts& facts) {
    return std::make_unique<IcoEnd>(facts);
}

constexpr const char* kIcoExtensions[] = {"ico", "cur"};

}  // namespace

extern const FormatRoom kIcoRoom;
const FormatRoom kIcoRoom{
    .format = Format::kIco,
    .name = "ICO",
    .extensions = kIcoExtensions,
    .begins = &is_ico,
    .probe = &probe_ico,
    .end = &ico_end,
    .default_settings = &default_settings_of<IcoEncoding>,
};

}  // namespace zelmor::imagework
