// EXIF data as bytes: a small TIFF whose directories point at each other.
#include <algorithm>
#include <array>

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using namespace exif_tags;

constexpr uint16_t kClassicMark = 42;
constexpr uint16_t kBigMark = 43;
constexpr uint16_t kXmpPacket = 700;
constexpr uint16_t kIptc = 33723;
constexpr uint16_t kPhotoshop = 34377;

[[noreturn]] void throw_no_tiff() {
    throw ManagedException("FormatException", "The EXIF data does not begin as a TIFF does.");
}

// A reader in the order and form that the first letters of the source say; no object may keep it.
Ref<TiffReaderObject> open(const imagework::SharedSource& source) {
    std::array<uint8_t, 8> head{};
    if (source->read_at(0, head) < head.size()) {
        throw_no_tiff();
    }
    const char first = static_cast<char>(head[0]);
    const char second = static_cast<char>(head[1]);
    if (first != second || (first != 'I' && first != 'M')) {
        throw_no_tiff();
    }
    const bool big_endian = first == 'M';
    const uint64_t mark = read_number(std::as_bytes(std::span(head).subspan(2, 2)), big_endian);
    if (mark != kClassicMark && mark != kBigMark) {
        throw_no_tiff();
    }
    return make_tiff_reader(source, big_endian, mark == kBigMark);
}

struct Directory {
    TagList tags;
    uint64_t next = 0;
};

bool any_tag(uint16_t) {
    return true;
}

// A tag whose values lie outside of the data, or whose type is unknown, is left out: the others are still valid. So is
// a tag that the caller does not want, because it may have many values, and one whose values go beyond the limit.
Directory read_directory(TiffReaderObject& reader, uint64_t offset, bool (*wanted)(uint16_t) = any_tag) {
    Directory directory;
    const bool big = reader.big_tiff();
    const size_t head = big ? 8 : 2;
    const auto length = static_cast<uint64_t>(reader.length());
    if (offset == 0 || offset > length || length - offset < head) {
        return directory;
    }
    const auto at = static_cast<int64_t>(offset);
    const size_t entry = directory_entry_size(big);
    const uint64_t room = (length - offset - head) / entry;
    const uint64_t count = std::min({reader.number(at, head), room, imagework::limits::kEntries});
    for (uint64_t i = 0; i < count; ++i) {
        const int64_t entry_at = at + static_cast<int64_t>(head + i * entry);
        if (!wanted(static_cast<uint16_t>(reader.number(entry_at, 2)))) {
            continue;
        }
        const uint64_t bytes = tag_bytes(reader, entry_at);
        if (bytes > reader.tag_bytes_left) {
            continue;
        }
        reader.tag_bytes_left -= bytes;
        try {
            auto tag = read_tag(reader, entry_at);
            if (dynamic_cast<UnknownTagObject*>(tag.get()) == nullptr) {
                directory.tags.push_back(std::move(tag));
            }
        } catch (const ManagedException& error) {
            if (error.name() != "EndOfStreamException") {
                throw;
            }
        }
    }
    const size_t word = big ? 8 : 4;
    const uint64_t end = offset + head + count * entry;
    if (end + word <= length) {
        directory.next = reader.number(static_cast<int64_t>(end), word);
    }
    return directory;
}

// The offset that a tag of a directory points to, which is taken out of it; 0 where there is none.
uint64_t take_pointer(TagList& tags, uint16_t id) {
    uint64_t offset = 0;
    for (const auto& tag : tags) {
        if (tag->id() == id) {
            offset = static_cast<uint64_t>(std::max<int64_t>(0, tag_integer(*tag).value_or(0)));
        }
    }
    std::erase_if(tags, [&](const auto& tag) { return tag->id() == id; });
    return offset;
}

// Where the values of a tag stand, which the tag itself does not keep; 0 where the directory has no such tag, or its
// values stand in the entry.
uint64_t values_position(TiffReaderObject& reader, uint64_t directory_at, uint16_t id) {
    const auto length = static_cast<uint64_t>(reader.length());
    const bool big = reader.big_tiff();
    const size_t head = big ? 8 : 2;
    const size_t word = big ? 8 : 4;
    const size_t entry = directory_entry_size(big);
    if (directory_at == 0 || directory_at > length || length - directory_at < head) {
        return 0;
    }
    const auto at = static_cast<int64_t>(directory_at);
    const uint64_t count = std::min(reader.number(at, head), (length - directory_at - head) / entry);
    for (uint64_t i = 0; i < count; ++i) {
        const int64_t entry_at = at + static_cast<int64_t>(head + i * entry);
        if (reader.number(entry_at, 2) != id) {
            continue;
        }
        const uint64_t size = reader.number(entry_at + 4, word) *
                              tiff_element_size(static_cast<uint16_t>(reader.number(entry_at + 2, 2)));
        return size > word ? reader.number(entry_at + 4 + static_cast<int64_t>(word), word) : 0;
    }
    return 0;
}

void read_below(TiffReaderObject& reader, ExifObject& exif, uint64_t exif_at, uint64_t gps_at) {
    TagList& inner = exif.tags(ExifDirectory::kExif);
    inner = read_directory(reader, exif_at).tags;
    exif.interoperability = read_directory(reader, take_pointer(inner, kInteroperabilityPointer)).tags;
    exif.tags(ExifDirectory::kGps) = read_directory(reader, gps_at).tags;
}

// The tags that EXIF takes from a TIFF image's own directory: texts, the orientation and other directories. The tags
// that describe the stored pixels are left to the program that writes the file.
bool is_of_description(uint16_t id) {
    constexpr uint16_t kIds[] = {269, 270, 271, 272, 274, 305, 306, 315, 316, 33432, kExifPointer, kGpsPointer};
    return std::find(std::begin(kIds), std::end(kIds), id) != std::end(kIds);
}

uint64_t first_directory(TiffReaderObject& reader) {
    return reader.big_tiff() ? reader.number(8, 8) : reader.number(4, 4);
}

// Writing: sizes follow from the tags alone, so that every offset is known before the first byte is written.
size_t even(size_t size) {
    return size + size % 2;
}

struct Form {
    bool big_endian;
    bool big_tiff = false;
    size_t head() const { return big_tiff ? 8 : 2; }
    size_t word() const { return big_tiff ? 8 : 4; }
};

// Values of a tag that stand in a place of their own, away from their directory.
struct Fixed {
    uint16_t id = 0;
    size_t start = 0;
    size_t end = 0;  // the same: there are none
    bool holds(uint16_t tag) const { return end > start && tag == id; }
    // The first place from `at` on where a piece of the size does not touch the values.
    size_t free_from(size_t at, size_t size) const { return at < end && at + size > start ? even(end) : at; }
};

size_t size_of(const TagList& tags, const Form& form, const Fixed& fixed = {}) {
    size_t size = form.head() + tags.size() * directory_entry_size(form.big_tiff) + form.word();
    for (const auto& tag : tags) {
        const auto data = static_cast<size_t>(tag->data_size());
        if (data > inline_size(form.big_tiff) && !fixed.holds(tag->id())) {
            size += even(data);
        }
    }
    return size;
}

// The entry of a tag; values that need a place of their own are put behind `values`, which begin at an offset.
void put_entry(Bytes& out, const TagObject& tag, const Form& form, Bytes& values, size_t values_at,
               const Fixed& fixed = {}) {
    put_number(out, tag.id(), 2, form.big_endian);
    put_number(out, static_cast<uint16_t>(tag.data_type()), 2, form.big_endian);
    put_number(out, tag.count(), form.word(), form.big_endian);
    Bytes data = tag.encoded(form.big_endian);
    if (data.size() <= form.word()) {
        data.resize(form.word());
        out.insert(out.end(), data.begin(), data.end());
        return;
    }
    if (fixed.holds(tag.id())) {
        put_number(out, fixed.start, form.word(), form.big_endian);
        return;
    }
    put_number(out, values_at + values.size(), form.word(), form.big_endian);
    data.resize(even(data.size()));
    values.insert(values.end(), data.begin(), data.end());
}

// `base` is the offset of the first of these bytes.
void write_directory(Bytes& out, const TagList& tags, uint64_t next, const Form& form, const Fixed& fixed = {},
                     uint64_t base = 0) {
    Bytes values;
    const size_t values_at =
        base + out.size() + form.head() + tags.size() * directory_entry_size(form.big_tiff) + form.word();
    put_number(out, tags.size(), form.head(), form.big_endian);
    for (const auto& tag : tags) {
        put_entry(out, *tag, form, values, values_at, fixed);
    }
    put_number(out, next, form.word(), form.big_endian);
    out.insert(out.end(), values.begin(), values.end());
}

TagList without(TagList tags, std::initializer_list<uint16_t> ids) {
    std::erase_if(tags, [&](const auto& tag) {
        return std::find(ids.begin(), ids.end(), tag->id()) != ids.end() || tag->count() == 0 ||
               dynamic_cast<UnknownTagObject*>(tag.get());
    });
    return sorted_tags(std::move(tags));
}

Ref<TagObject> pointer(uint16_t id, size_t offset) {
    return make_tag(TiffType::kLong, id, static_cast<int64_t>(offset));
}

// The place of the maker's note in the data that were read, if it can be kept: behind the header, at an even offset and
// within what a segment holds.
Fixed maker_note_place(const ExifObject& exif, const TagList& inner, size_t header) {
    const auto note = std::find_if(inner.begin(), inner.end(), [](const auto& tag) { return tag->id() == kMakerNote; });
    const uint64_t at = exif.maker_note_at;
    if (note == inner.end() || at < header || at % 2 != 0 || (*note)->data_size() <= inline_size(false) ||
        at + (*note)->data_size() > UINT16_MAX) {
        return {};
    }
    return {kMakerNote, static_cast<size_t>(at), static_cast<size_t>(at + (*note)->data_size())};
}

// The tags of a page that belong to it, besides. Titles, packets, image resources and profiles are read elsewhere.
bool is_of_page(uint16_t id) {
    using Tag = api::FileFormats::Tiff::Enums::TiffTags;
    constexpr uint16_t kElsewhere[] = {number_of(Tag::kPageName), 700, 33723, number_of(Tag::kPhotoshopResources)};
    constexpr uint16_t kKept[] = {number_of(Tag::kSubFileType), number_of(Tag::kWhitePoint),
                                  number_of(Tag::kPrimaryChromaticities)};
    const auto among = [&](const auto& ids) { return std::find(std::begin(ids), std::end(ids), id) != std::end(ids); };
    return !is_of_description(id) && !among(kElsewhere) &&
           (!is_tag_of_pixels(id) || among(kKept) || is_tag_of_samples(id));
}

}  // namespace

bool is_tag_of_samples(uint16_t id) {
    using Tag = api::FileFormats::Tiff::Enums::TiffTags;
    constexpr Tag kTags[] = {Tag::kThresholding,   Tag::kCellWidth,       Tag::kCellLength,
                             Tag::kMinSampleValue, Tag::kMaxSampleValue,  Tag::kTransferFunction,
                             Tag::kHalftoneHints,  Tag::kSminSampleValue, Tag::kSmaxSampleValue};
    return std::find(std::begin(kTags), std::end(kTags), static_cast<Tag>(id)) != std::end(kTags);
}

bool is_tag_of_pixels(uint16_t id) {
    using Tag = api::FileFormats::Tiff::Enums::TiffTags;
    constexpr Tag kTags[] = {Tag::kSubFileType,      Tag::kOsubfileType,     Tag::kImageWidth,
                             Tag::kImageLength,      Tag::kBitsPerSample,    Tag::kCompression,
                             Tag::kPhotometric,      Tag::kThresholding,     Tag::kCellWidth,
                             Tag::kCellLength,       Tag::kFillOrder,        Tag::kStripOffsets,
                             Tag::kSamplesPerPixel,  Tag::kRowsPerStrip,     Tag::kStripByteCounts,
                             Tag::kMinSampleValue,   Tag::kMaxSampleValue,   Tag::kXresolution,
                             Tag::kYresolution,      Tag::kPlanarConfig,     Tag::kT4Options,
                             Tag::kT6Options,        Tag::kResolutionUnit,   Tag::kTransferFunction,
                             Tag::kPredictor,        Tag::kWhitePoint,       Tag::kPrimaryChromaticities,
                             Tag::kColorMap,         Tag::kHalftoneHints,    Tag::kTileWidth,
                             Tag::kTileLength,       Tag::kTileOffsets,      Tag::kTileByteCounts,
                             Tag::kSubIfd,           Tag::kInkSet,           Tag::kNumberOfInks,
                             Tag::kExtraSamples,     Tag::kSampleFormat,     Tag::kSminSampleValue,
                             Tag::kSmaxSampleValue,  Tag::kJpegTables,       Tag::kYcbcrCoefficients,
                             Tag::kYcbcrSubSampling, Tag::kYcbcrPositioning, Tag::kReferenceBlackWhite,
                             Tag::kExifIfdPointer,   Tag::kIccProfile};
    const auto tag = static_cast<Tag>(id);
    const bool of_jpeg = tag >= Tag::kJpegProc && tag <= Tag::kJpegACtables;
    return of_jpeg || id == kGpsPointer || std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

Ref<ExifObject> read_exif(std::span<const std::byte> data, bool of_jpeg) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    if (text.starts_with(kExifMark)) {
        data = data.subspan(kExifMark.size());
    }
    const auto reader = open(source_of(data));
    auto exif = make_exif(of_jpeg);
    set_property(*exif, "IsBigEndian", reader->big_endian());
    Directory first = read_directory(*reader, first_directory(*reader));
    const uint64_t exif_at = take_pointer(first.tags, kExifPointer);
    const uint64_t gps_at = take_pointer(first.tags, kGpsPointer);
    exif->tags(ExifDirectory::kCommon) = std::move(first.tags);
    read_below(*reader, *exif, exif_at, gps_at);
    exif->maker_note_at = values_position(*reader, exif_at, kMakerNote);

    Directory second = read_directory(*reader, first.next);
    const uint64_t thumbnail_at = take_pointer(second.tags, kThumbnailOffset);
    const uint64_t thumbnail_size = take_pointer(second.tags, kThumbnailLength);
    if (thumbnail_size > 0 && thumbnail_at < data.size() && thumbnail_size <= data.size() - thumbnail_at) {
        const auto part = data.subspan(thumbnail_at, thumbnail_size);
        exif->thumbnail.assign(part.begin(), part.end());
        exif->thumbnail_tags = std::move(second.tags);
    }
    return exif;
}

Ref<ExifObject> read_exif_of_tiff(const imagework::SharedSource& file, uint64_t directory) {
    const auto reader = open(file);
    auto exif = make_exif(false);
    set_property(*exif, "IsBigEndian", reader->big_endian());
    const uint64_t at = directory != 0 ? directory : first_directory(*reader);
    Directory first = read_directory(*reader, at, is_of_description);
    const uint64_t exif_at = take_pointer(first.tags, kExifPointer);
    const uint64_t gps_at = take_pointer(first.tags, kGpsPointer);
    exif->tags(ExifDirectory::kCommon) = std::move(first.tags);
    read_below(*reader, *exif, exif_at, gps_at);
    exif->of_page = read_directory(*reader, at, is_of_page).tags;
    return exif;
}

Bytes write_exif(const ExifObject& exif) {
    const bool big_endian = exif.big_endian();
    const Form form{big_endian};
    TagList common =
        without(exif.tags(ExifDirectory::kCommon), {kExifPointer, kGpsPointer, kThumbnailOffset, kThumbnailLength});
    TagList inner = without(exif.tags(ExifDirectory::kExif), {kInteroperabilityPointer});
    TagList interoperability = without(exif.interoperability, {});
    TagList gps = without(exif.tags(ExifDirectory::kGps), {});
    TagList second = without(exif.thumbnail_tags, {kThumbnailOffset, kThumbnailLength});

    // Room for the pointers first, then the pointers themselves.
    const bool has_inner = !inner.empty() || !interoperability.empty();
    if (!interoperability.empty()) {
        inner.push_back(pointer(kInteroperabilityPointer, 0));
    }
    if (has_inner) {
        common.push_back(pointer(kExifPointer, 0));
    }
    if (!gps.empty()) {
        common.push_back(pointer(kGpsPointer, 0));
    }
    const bool has_second = !exif.thumbnail.empty();
    if (has_second) {
        second.push_back(pointer(kThumbnailOffset, 0));
        second.push_back(pointer(kThumbnailLength, exif.thumbnail.size()));
    }
    constexpr size_t kHeader = 8;
    const Fixed note = maker_note_place(exif, inner, kHeader);
    size_t end = kHeader;
    const auto placed = [&](size_t size) {
        const size_t at = size == 0 ? end : note.free_from(end, size);
        end = at + size;
        return at;
    };
    const size_t common_at = placed(size_of(common, form));
    const size_t inner_at = placed(has_inner ? size_of(inner, form, note) : 0);
    const size_t interoperability_at = placed(interoperability.empty() ? 0 : size_of(interoperability, form));
    const size_t gps_at = placed(gps.empty() ? 0 : size_of(gps, form));
    const size_t second_at = placed(has_second ? size_of(second, form) : 0);
    const size_t thumbnail_at = placed(exif.thumbnail.size());
    for (TagList* tags : {&common, &inner, &second}) {
        for (auto& tag : *tags) {
            const uint16_t id = tag->id();
            if (tags == &common && id == kExifPointer) {
                tag = pointer(id, inner_at);
            }
            if (tags == &common && id == kGpsPointer) {
                tag = pointer(id, gps_at);
            }
            if (tags == &inner && id == kInteroperabilityPointer) {
                tag = pointer(id, interoperability_at);
            }
            if (tags == &second && id == kThumbnailOffset) {
                tag = pointer(id, thumbnail_at);
            }
        }
        *tags = sorted_tags(std::move(*tags));
    }

    Bytes out(2, static_cast<std::byte>(big_endian ? 'M' : 'I'));
    put_number(out, kClassicMark, 2, big_endian);
    put_number(out, common_at, 4, big_endian);
    const auto put = [&](size_t at, const TagList& tags, uint64_t next) {
        out.resize(at);  // zeros in the gap before the note
        write_directory(out, tags, next, form, note);
    };
    put(common_at, common, has_second ? second_at : 0);
    if (has_inner) {
        put(inner_at, inner, 0);
    }
    if (!interoperability.empty()) {
        put(interoperability_at, interoperability, 0);
    }
    if (!gps.empty()) {
        put(gps_at, gps, 0);
    }
    if (has_second) {
        put(second_at, second, 0);
        out.resize(thumbnail_at);
        out.insert(out.end(), exif.thumbnail.begin(), exif.thumbnail.end());
    }
    if (note.end > note.start) {
        out.resize(std::max(out.size(), note.end));
        const Bytes data = exif.find(ExifDirectory::kExif, kMakerNote)->encoded(big_endian);
        std::copy(data.begin(), data.end(), out.begin() + static_cast<std::ptrdiff_t>(note.start));
    }
    return out;
}

namespace {

// Image resources that hold IPTC data and nothing else.
Bytes resource_of_iptc(const Bytes& iptc) {
    Bytes resource;
    for (const char c : std::string_view("8BIM\x04\x04\0\0", 8)) {
        resource.push_back(static_cast<std::byte>(c));
    }
    put_number(resource, iptc.size(), 4, true);
    resource.insert(resource.end(), iptc.begin(), iptc.end());
    resource.resize(even(resource.size()));
    return resource;
}

}  // namespace

FileMetadata find_in_tiff(const imagework::SharedSource& file, uint64_t directory) {
    FileMetadata found;
    try {
        const auto reader = open(file);
        const auto wanted = [](uint16_t id) { return id == kXmpPacket || id == kIptc || id == kPhotoshop; };
        Bytes iptc;
        const uint64_t at = directory != 0 ? directory : first_directory(*reader);
        for (const auto& tag : read_directory(*reader, at, wanted).tags) {
            Bytes& kept = tag->id() == kXmpPacket ? found.xmp : tag->id() == kIptc ? iptc : found.photoshop;
            kept = tag->encoded(reader->big_endian());
        }
        if (found.photoshop.empty() && !iptc.empty()) {
            found.photoshop = resource_of_iptc(iptc);
        }
    } catch (const ManagedException& error) {
        // A truncated file has no packet. The decoder reports other damage.
        if (error.name() != "FormatException" && error.name() != "EndOfStreamException") {
            throw;
        }
    }
    return found;
}

namespace {

std::span<const uint8_t> unsigned_span(const Bytes& bytes) {
    return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}

// A file that is not complete yet, for reading.
class EditedSource final : public imagework::DataSource {
 public:
    explicit EditedSource(const imagework::EditableFile& file) : m_file(file) {}
    uint64_t size() const override { return m_file.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        const uint64_t there = m_file.size() - std::min(offset, m_file.size());
        const auto count = static_cast<size_t>(std::min<uint64_t>(out.size(), there));
        if (count > 0) {
            m_file.read_at(offset, out.first(count));
        }
        return count;
    }

 private:
    const imagework::EditableFile& m_file;
};

struct DirectoryPlace {
    uint64_t at;
    uint64_t entries;
};

// Puts the directory at a place again with other metadata, at the end of the file. It links to the same next directory
// as before.
DirectoryPlace put_changed_directory(imagework::EditableFile& file, const DirectoryPlace& old, uint64_t next,
                                     const MetadataToWrite& metadata, const Form& form) {
    const uint64_t base = file.size();
    Bytes out;
    // Directories below come first, since this one points to them.
    out.resize(base % 2);
    TagList added = without(metadata.tags, {kExifPointer, kGpsPointer});
    if (!metadata.xmp.empty()) {
        added.push_back(make_tag(TiffType::kByte, kXmpPacket, metadata.xmp));
    }
    const bool has_resources =
        std::any_of(added.begin(), added.end(), [](const auto& tag) { return tag->id() == kPhotoshop; });
    if (!metadata.photoshop.empty() && !has_resources) {
        added.push_back(make_tag(TiffType::kByte, kPhotoshop, metadata.photoshop));
    }
    const auto put_below = [&](uint16_t id, const TagList& tags) {
        if (tags.empty()) {
            return;
        }
        const uint64_t at = base + out.size();
        write_directory(out, tags, 0, form, {}, base);
        added.push_back(make_tag(form.big_tiff ? TiffType::kLong8 : TiffType::kLong, id, static_cast<int64_t>(at)));
    };
    if (metadata.below != nullptr) {
        TagList inner = without(metadata.below->tags(ExifDirectory::kExif), {kInteroperabilityPointer});
        put_below(kExifPointer, inner);
        put_below(kGpsPointer, without(metadata.below->tags(ExifDirectory::kGps), {}));
    }

    // The entries that are there already keep their bytes, so that what they point to is found again.
    const size_t entry = directory_entry_size(form.big_tiff);
    const auto replaced = [&](uint16_t id) {
        if (id == kXmpPacket || id == kExifPointer || id == kGpsPointer || id == kIptc || id == kPhotoshop) {
            return true;
        }
        return std::any_of(added.begin(), added.end(), [&](const auto& tag) { return tag->id() == id; });
    };
    Bytes there(static_cast<size_t>(old.entries) * entry);
    file.read_at(old.at + form.head(), {reinterpret_cast<uint8_t*>(there.data()), there.size()});
    std::vector<std::pair<uint16_t, Bytes>> entries;
    for (size_t at = 0; at < there.size(); at += entry) {
        const auto bytes = std::span(there).subspan(at, entry);
        const auto id = static_cast<uint16_t>(read_number(bytes.first(2), form.big_endian));
        if (!replaced(id)) {
            entries.emplace_back(id, Bytes(bytes.begin(), bytes.end()));
        }
    }
    Bytes values;
    const uint64_t directory_at = base + out.size();
    const size_t values_at = directory_at + form.head() + (entries.size() + added.size()) * entry + form.word();
    for (const auto& tag : added) {
        Bytes bytes;
        put_entry(bytes, *tag, form, values, values_at);
        entries.emplace_back(tag->id(), std::move(bytes));
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    put_number(out, entries.size(), form.head(), form.big_endian);
    for (const auto& [id, bytes] : entries) {
        out.insert(out.end(), bytes.begin(), bytes.end());
    }
    put_number(out, next, form.word(), form.big_endian);
    out.insert(out.end(), values.begin(), values.end());
    file.write_at(base, unsigned_span(out));
    return {directory_at, entries.size()};
}

// Where a directory has the offset of the next one.
uint64_t link_of(const DirectoryPlace& directory, const Form& form) {
    return directory.at + form.head() + directory.entries * directory_entry_size(form.big_tiff);
}

}  // namespace

void add_tiff_tags(imagework::EditableFile& file, std::span<const std::optional<MetadataToWrite>> pages) {
    const auto reader = open(std::make_shared<EditedSource>(file));
    const Form form{reader->big_endian(), reader->big_tiff()};
    const auto number = [&](uint64_t at, size_t size) { return reader->number(static_cast<int64_t>(at), size); };
    uint64_t link = form.big_tiff ? 8 : 4;  // to the directory at hand
    uint64_t at = first_directory(*reader);
    for (const std::optional<MetadataToWrite>& page : pages) {
        if (at == 0) {
            throw ManagedException("FormatException", "The TIFF data has fewer pages than there are metadata for.");
        }
        DirectoryPlace directory{at, number(at, form.head())};
        const uint64_t next = number(link_of(directory, form), form.word());
        if (page) {
            directory = put_changed_directory(file, directory, next, *page, form);
            Bytes offset;
            put_number(offset, directory.at, form.word(), form.big_endian);
            file.write_at(link, unsigned_span(offset));
        }
        link = link_of(directory, form);
        at = next;
    }
}

}  // namespace zelmor::embed
