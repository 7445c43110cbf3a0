// DjVu: an IFF form behind four letters, of one page or of several.
#include "runtime/native/formats/djvu/djvu_probe.h"
#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

void probe_djvu_room(const ByteReader& file, FileFacts& facts) {
    facts = probe_djvu(file).facts;
    facts.format = Format::kDjvu;
}

// The form that a document is tells its length.
class DjvuEnd final : public PictureEnd {
 public:
    explicit DjvuEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        constexpr uint64_t kHeader = 12;
        const ByteReader in(data, true);
        if (!in.has(0, kHeader)) {
            return kHeader;
        }
        const uint64_t form = in.starts_with(0, "AT&T") ? 4 : 0;
        const uint64_t size = form + 8 + in.u32(form + 4);
        if (m_size == 0) {
            m_size = size;
            add_values(size);  // of all pages, of which the facts tell of the first
        }
        return m_size;
    }

 private:
    uint64_t m_size = 0;
};

std::unique_ptr<PictureEnd> djvu_end(const FileFacts& facts) {
    return std::make_unique<DjvuEnd>(facts);
}

constexpr const char* kDjvuExtensions[] = {"djvu", "djv"};

}  // namespace

extern const FormatRoom kDjvuRoom;
const FormatRoom kDjvuRoom{
    .format = Format::kDjvu,
    .name = "DjVu",
    .extensions = kDjvuExtensions,
    .begins = &is_djvu,
    .probe = &probe_djvu_room,
    .end = &djvu_end,
};

}  // namespace zelmor::imagework
