// EXIF and XMP in the application segments of JPEG.
#include "runtime/native/behaviors/metadata/containers/file_containers.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kXmpMark{"http://ns.adobe.com/xap/1.0/\0", 29};
constexpr std::string_view kExtensionMark{"http://ns.adobe.com/xmp/extension/\0", 35};
constexpr int kApp0 = 0xE0;
constexpr int kApp1 = 0xE1;
constexpr int kLastApp = 0xEF;
constexpr size_t kLongest = 65533;  // the length counts itself

struct Segment {
    int marker;
    std::span<const std::byte> whole;  // marker and length too
    std::span<const std::byte> data;
    bool begins_with(std::string_view mark) const {
        const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
        return text.starts_with(mark);
    }
    bool is_metadata() const {
        return marker == kApp1 && (begins_with(kExifMark) || begins_with(kXmpMark) || begins_with(kExtensionMark));
    }
};

// The segments behind the start marker, up to the first that is none of the application's.
std::vector<Segment> application_segments(std::span<const std::byte> file) {
    std::vector<Segment> segments;
    for (size_t at = 2; at + 4 <= file.size() && file[at] == std::byte{0xFF};) {
        const int marker = std::to_integer<int>(file[at + 1]);
        const uint64_t length = read_number(file.subspan(at + 2, 2), true);
        if (marker < kApp0 || marker > kLastApp || length < 2 || length > file.size() - at - 2) {
            break;
        }
        segments.push_back({marker, file.subspan(at, length + 2), file.subspan(at + 4, length - 2)});
        at += length + 2;
    }
    return segments;
}

void put_segment(Bytes& out, std::string_view mark, const Bytes& data, const char* what) {
    if (data.empty()) {
        return;
    }
    const size_t size = mark.size() + data.size();
    if (size > kLongest) {
        throw_argument(std::string(what) + " has " + std::to_string(data.size()) + " bytes. A JPEG file has room for " +
                       std::to_string(kLongest - mark.size()) + ".");
    }
    out.push_back(std::byte{0xFF});
    out.push_back(std::byte{kApp1});
    put_number(out, size + 2, 2, true);
    for (const char c : mark) {
        out.push_back(static_cast<std::byte>(c));
    }
    out.insert(out.end(), data.begin(), data.end());
}

}  // namespace

FileMetadata find_in_jpeg(std::span<const std::byte> file) {
    FileMetadata found;
    for (const Segment& segment : application_segments(file)) {
        if (segment.marker != kApp1) {
            continue;
        }
        const auto rest = [&](std::string_view mark) {
            const auto part = segment.data.subspan(mark.size());
            return Bytes(part.begin(), part.end());
        };
        if (found.exif.empty() && segment.begins_with(kExifMark)) {
            found.exif = rest(kExifMark);
        }
        if (found.xmp.empty() && segment.begins_with(kXmpMark)) {
            found.xmp = rest(kXmpMark);
        }
    }
    return found;
}

Bytes write_to_jpeg(std::span<const std::byte> file, const Bytes& exif, const Bytes& xmp) {
    const std::vector<Segment> segments = application_segments(file);
    Bytes out(file.begin(), file.begin() + 2);
    size_t end = 2;
    const auto copy = [&](const Segment& segment) {
        out.insert(out.end(), segment.whole.begin(), segment.whole.end());
    };
    // A JFIF header comes first where there is one, then EXIF, as readers expect both.
    size_t next = 0;
    for (; next < segments.size() && segments[next].marker == kApp0; ++next) {
        copy(segments[next]);
    }
    put_segment(out, kExifMark, exif, "The EXIF data");
    put_segment(out, kXmpMark, xmp, "The XMP packet");
    for (; next < segments.size(); ++next) {
        if (!segments[next].is_metadata()) {
            copy(segments[next]);
        }
    }
    for (const Segment& segment : segments) {
        end += segment.whole.size();
    }
    const auto rest = file.subspan(end);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

}  // namespace zelmor::embed
