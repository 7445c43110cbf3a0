// XMP in an application extension of GIF. The packet is stored unchanged and not in blocks; the bytes after it are
// chosen so that a reader that takes it for blocks arrives at the end of the extension.
#include "runtime/native/behaviors/metadata/containers/file_containers.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kXmpMark{"\x21\xFF\x0BXMP DataXMP", 14};
constexpr size_t kTrailer = 258;  // 1, 255 down to 0, and the end of the extension

// Behind the header and the colors that all frames share.
size_t first_block(std::span<const std::byte> file) {
    constexpr size_t kHeader = 13;
    if (file.size() < kHeader) {
        return file.size();
    }
    const auto flags = std::to_integer<unsigned>(file[10]);
    const size_t colors = (flags & 0x80) != 0 ? size_t{3} << ((flags & 7) + 1) : 0;
    return std::min(file.size(), kHeader + colors);
}

// The end of the data blocks that begin at an offset.
size_t end_of_blocks(std::span<const std::byte> file, size_t at) {
    while (at < file.size() && file[at] != std::byte{0}) {
        at += 1 + std::to_integer<size_t>(file[at]);
    }
    return std::min(file.size(), at + 1);
}

struct Extension {
    size_t start = 0;
    size_t end = 0;  // behind it
    std::span<const std::byte> packet;
};

// The extension with the packet; an empty range if the file has none.
Extension find_extension(std::span<const std::byte> file) {
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    for (size_t at = first_block(file); at < file.size();) {
        const auto kind = std::to_integer<int>(file[at]);
        if (text.substr(at).starts_with(kXmpMark)) {
            const size_t from = at + kXmpMark.size();
            const size_t end = end_of_blocks(file, from);
            if (end - from < kTrailer) {
                return {};
            }
            return {at, end, file.subspan(from, end - from - kTrailer)};
        }
        if (kind == 0x21 && at + 2 <= file.size()) {
            at = end_of_blocks(file, at + 2);
        } else if (kind == 0x2C && at + 11 <= file.size()) {
            const auto flags = std::to_integer<unsigned>(file[at + 9]);
            const size_t colors = (flags & 0x80) != 0 ? size_t{3} << ((flags & 7) + 1) : 0;
            at = end_of_blocks(file, at + 11 + colors);
        } else {
            break;
        }
    }
    return {};
}

}  // namespace

FileMetadata find_in_gif(std::span<const std::byte> file) {
    FileMetadata found;
    const auto packet = find_extension(file).packet;
    found.xmp.assign(packet.begin(), packet.end());
    return found;
}

Bytes write_to_gif(std::span<const std::byte> file, const Bytes& xmp) {
    const Extension old = find_extension(file);
    const size_t start = old.start == old.end ? first_block(file) : old.start;
    const size_t end = old.start == old.end ? start : old.end;
    Bytes out(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(start));
    if (!xmp.empty()) {
        for (const char c : kXmpMark) {
            out.push_back(static_cast<std::byte>(c));
        }
        out.insert(out.end(), xmp.begin(), xmp.end());
        out.push_back(std::byte{1});
        for (int value = 255; value >= 0; --value) {
            out.push_back(static_cast<std::byte>(value));
        }
        out.push_back(std::byte{0});
    }
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(end), file.end());
    return out;
}

}  // namespace zelmor::embed
