// What describes a picture in the segments of JPEG: the JFIF header, EXIF, XMP with its extension, image resources and
// comments.
#include <algorithm>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kJfifMark{"JFIF\0", 5};
constexpr std::string_view kJfifExtensionMark{"JFXX\0", 5};
constexpr std::string_view kXmpMark{"http://ns.adobe.com/xap/1.0/\0", 29};
constexpr std::string_view kExtensionMark{"http://ns.adobe.com/xmp/extension/\0", 35};
constexpr std::string_view kPhotoshopMark{"Photoshop 3.0\0", 14};
constexpr int kApp0 = 0xE0;
constexpr int kApp1 = 0xE1;
constexpr int kApp13 = 0xED;
constexpr int kLastApp = 0xEF;
constexpr int kComment = 0xFE;
constexpr size_t kSegmentHead = 4;  // marker and length
constexpr size_t kLongest = 65533;  // the length counts itself
constexpr size_t kMostXmp = kLongest - kXmpMark.size();

// Behind the mark of an extension: the digest of the whole as text, its length, and where the part belongs.
constexpr size_t kGuid = 32;
constexpr size_t kExtensionHead = kGuid + 8;

struct Segment {
    int marker;
    uint64_t at;        // of the marker
    uint64_t size;      // of the data, behind marker and length
    std::string start;  // as much of the data as the longest mark has
    bool is(int its_marker, std::string_view mark) const { return marker == its_marker && start.starts_with(mark); }
    uint64_t end() const { return at + kSegmentHead + size; }
    bool is_jfif() const { return is(kApp0, kJfifMark); }
    bool is_metadata() const {
        return is(kApp0, kJfifMark) || is(kApp0, kJfifExtensionMark) || is(kApp1, kExifMark) || is(kApp1, kXmpMark) ||
               is(kApp1, kExtensionMark) || is(kApp13, kPhotoshopMark) || marker == kComment;
    }
};

Bytes behind(FileParts& file, const Segment& segment, std::string_view mark) {
    return file.take(segment.at + kSegmentHead + mark.size(), segment.size - mark.size());
}

// Calls a function with the segments behind the start marker, up to the first that is neither the application's nor a
// comment. Returns the offset behind the last one.
template <class Visit>
uint64_t each_leading_segment(FileParts& file, Visit visit) {
    const imagework::ByteReader in = file.reader(true);
    uint64_t at = 2;
    while (in.has(at, kSegmentHead) && in.u8(at) == 0xFF) {
        const int marker = in.u8(at + 1);
        const uint64_t length = in.u16(at + 2);
        const bool known = (marker >= kApp0 && marker <= kLastApp) || marker == kComment;
        if (!known || length < 2 || !in.has(at, 2 + length)) {
            break;
        }
        const uint64_t size = length - 2;
        visit(Segment{marker, at, size, file.text(at + kSegmentHead, std::min(size, kExtensionMark.size()))});
        at += 2 + length;
    }
    return at;
}

// The parts of the extension that the packet names, put together; empty where one is missing. No longer than all
// segments of the file can hold.
Bytes extension_of(FileParts& file, const std::string& guid, uint64_t most) {
    Bytes whole;
    uint64_t known = 0;
    each_leading_segment(file, [&](const Segment& segment) {
        if (!segment.is(kApp1, kExtensionMark) || segment.size < kExtensionMark.size() + kExtensionHead) {
            return;
        }
        const Bytes data = behind(file, segment, kExtensionMark);
        const std::span<const std::byte> head(data);
        const std::string_view name(reinterpret_cast<const char*>(head.data()), kGuid);
        const uint64_t length = read_number(head.subspan(kGuid, 4), true);
        const uint64_t offset = read_number(head.subspan(kGuid + 4, 4), true);
        const auto part = head.subspan(kExtensionHead);
        if (name != guid || length > most || offset > length || part.size() > length - offset) {
            return;
        }
        whole.resize(length);
        std::copy(part.begin(), part.end(), whole.begin() + static_cast<std::ptrdiff_t>(offset));
        known += part.size();
    });
    return known == whole.size() ? whole : Bytes();
}

// The name of the extension that a packet has: 32 digits behind "HasExtendedXMP".
std::string extension_name(const Bytes& xmp) {
    const std::string_view text(reinterpret_cast<const char*>(xmp.data()), xmp.size());
    const size_t found = text.find("HasExtendedXMP");
    if (found == std::string_view::npos) {
        return {};
    }
    const size_t start = text.find_first_of("0123456789ABCDEFabcdef", text.find_first_of("\"'>", found));
    return start == std::string_view::npos ? std::string() : std::string(text.substr(start, kGuid));
}

void put_text(Bytes& out, std::string_view text) {
    for (const char c : text) {
        out.push_back(static_cast<std::byte>(c));
    }
}

void put_segment(Bytes& out, int marker, std::string_view mark, std::span<const std::byte> data) {
    out.push_back(std::byte{0xFF});
    out.push_back(static_cast<std::byte>(marker));
    put_number(out, mark.size() + data.size() + 2, 2, true);
    put_text(out, mark);
    out.insert(out.end(), data.begin(), data.end());
}

// A kind of which there is one segment, if there is anything of it.
void put_only(Bytes& out, int marker, std::string_view mark, const Bytes& data, const char* what) {
    if (data.empty()) {
        return;
    }
    if (mark.size() + data.size() > kLongest) {
        throw_argument(std::string(what) + " has " + std::to_string(data.size()) + " bytes. A JPEG file has room for " +
                       std::to_string(kLongest - mark.size()) + ".");
    }
    put_segment(out, marker, mark, data);
}

void put_extension(Bytes& out, const Bytes& extension, const std::string& guid) {
    constexpr size_t kPart = 65400;
    const std::span<const std::byte> all(extension);
    for (size_t at = 0; at < all.size(); at += kPart) {
        Bytes part;
        put_text(part, guid);
        put_number(part, all.size(), 4, true);
        put_number(part, at, 4, true);
        const auto data = all.subspan(at, std::min(kPart, all.size() - at));
        part.insert(part.end(), data.begin(), data.end());
        put_segment(out, kApp1, kExtensionMark, part);
    }
}

void put_resources(Bytes& out, const Bytes& resources) {
    constexpr size_t kPart = kLongest - kPhotoshopMark.size();
    const std::span<const std::byte> all(resources);
    for (size_t at = 0; at < all.size(); at += kPart) {
        put_segment(out, kApp13, kPhotoshopMark, all.subspan(at, std::min(kPart, all.size() - at)));
    }
}

}  // namespace

static FileMetadata find_in_jpeg(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    uint64_t bytes = 0;  // of all segments
    each_leading_segment(file, [&](const Segment& segment) {
        bytes += segment.size;
        if (found.jfif.empty() && segment.is_jfif()) {
            found.jfif = behind(file, segment, kJfifMark);
        } else if (found.jfif_extension.empty() && segment.is(kApp0, kJfifExtensionMark)) {
            found.jfif_extension = behind(file, segment, kJfifExtensionMark);
        } else if (found.exif.empty() && segment.is(kApp1, kExifMark)) {
            found.exif = behind(file, segment, kExifMark);
        } else if (found.xmp.empty() && segment.is(kApp1, kXmpMark)) {
            found.xmp = behind(file, segment, kXmpMark);
        } else if (segment.is(kApp13, kPhotoshopMark)) {
            const Bytes part = behind(file, segment, kPhotoshopMark);
            found.photoshop.insert(found.photoshop.end(), part.begin(), part.end());
        } else if (segment.marker == kComment) {
            found.comments.push_back(behind(file, segment, {}));
        }
    });
    found.extended_guid = extension_name(found.xmp);
    if (!found.extended_guid.empty()) {
        found.extended_xmp = extension_of(file, found.extended_guid, bytes);
    }
    return found;
}

// Up to the first scan: the header of the frame tells the size of the picture.
static std::optional<size_t> head_of_jpeg(std::span<const std::byte> start) {
    constexpr int kScan = 0xDA;
    FileParts parts(source_of(start), FileParts::kHeaders);
    const imagework::ByteReader in = parts.reader(true);
    for (uint64_t at = 2; in.has(at, kSegmentHead) && in.u8(at) == 0xFF; at += 2 + in.u16(at + 2)) {
        if (in.u8(at + 1) == kScan) {
            return at;
        }
    }
    return std::nullopt;
}

static Bytes write_to_jpeg(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    FileParts parts(source_of(file), FileParts::kHeaders);
    std::vector<Segment> segments;
    const uint64_t end = each_leading_segment(parts, [&](const Segment& segment) { segments.push_back(segment); });
    Bytes out(file.begin(), file.begin() + 2);
    // A JFIF header comes first, then EXIF, as readers expect both. Only a file of a kind that has one gets one, and it
    // keeps its own where no other is given.
    const auto jfif =
        std::find_if(segments.begin(), segments.end(), [](const Segment& segment) { return segment.is_jfif(); });
    if (jfif != segments.end()) {
        put_only(out, kApp0, kJfifMark, metadata.jfif.empty() ? behind(parts, *jfif, kJfifMark) : metadata.jfif,
                 "The JFIF header with its thumbnail");
        put_only(out, kApp0, kJfifExtensionMark, metadata.jfif_extension, "The extension of the JFIF header");
    }
    put_only(out, kApp1, kExifMark, metadata.exif, "The EXIF data");
    put_only(out, kApp1, kXmpMark, metadata.xmp, "The XMP packet");
    put_extension(out, metadata.extended_xmp, metadata.extended_guid);
    put_resources(out, metadata.photoshop);
    for (const Segment& segment : segments) {
        if (!segment.is_metadata()) {
            const auto whole = file.subspan(segment.at, segment.end() - segment.at);
            out.insert(out.end(), whole.begin(), whole.end());
        }
    }
    for (const Bytes& comment : metadata.comments) {
        put_only(out, kComment, {}, comment, "The comment");
    }
    const auto rest = file.subspan(end);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

namespace {

bool is_same(const MetadataToWrite& write, const FileMetadata& there) {
    return same_exif_and_xmp(write, there) && write.extended_xmp == there.extended_xmp &&
           write.photoshop == there.photoshop && write.jfif == there.jfif &&
           write.jfif_extension == there.jfif_extension && write.comments == there.comments;
}

}  // namespace

extern const MetadataContainer kJpegContainer;
const MetadataContainer kJpegContainer{
    .format = imagework::Format::kJpeg,
    .find = &find_in_jpeg,
    .write = &write_to_jpeg,
    .head = &head_of_jpeg,
    .is_same = &is_same,
    .has_comments = true,
    .has_jfif = true,
    .most_xmp = kMostXmp,
};

}  // namespace zelmor::embed
