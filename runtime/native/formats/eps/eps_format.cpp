// EPS: PostScript, or the header of a file that has a preview besides.
#include <cmath>

#include "runtime/native/formats/eps/eps_structure.h"
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_eps(const ByteReader& in) {
    return in.starts_with(0, "%!PS") || in.starts_with(0, "\xC5\xD0\xD3\xC6");
}

void probe_eps(const ByteReader& in, FileFacts& facts) {
    const EpsParts parts = eps_parts(in);
    if (!in.starts_with(parts.text.at, "%!")) {
        return;
    }
    const EpsBox box = eps_comments(in, {parts.text.at, UINT64_MAX}).shown();
    facts.readable = true;
    facts.width = static_cast<int64_t>(std::ceil((box.right - box.left) * 96 / 72 - 1e-4));
    facts.height = static_cast<int64_t>(std::ceil((box.top - box.bottom) * 96 / 72 - 1e-4));
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
}

constexpr const char* kEpsExtensions[] = {"eps", "ps"};

}  // namespace

extern const FormatRoom kEpsRoom;
const FormatRoom kEpsRoom{
    .format = Format::kEps,
    .name = "EPS",
    .extensions = kEpsExtensions,
    .begins = &begins_eps,
    .probe = &probe_eps,
};

}  // namespace zelmor::imagework
