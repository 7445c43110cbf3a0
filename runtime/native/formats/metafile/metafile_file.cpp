// Reading and writing whole metafiles; see metafile_file.h.
#include "runtime/native/formats/metafile/metafile_file.h"

#include <algorithm>
#include <set>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

namespace {

constexpr uint32_t kEmfHeader = 1, kEmfEnd = 14, kEmfSignature = 0x464D4520, kPlaceableKey = 0x9AC6CDD7;
constexpr size_t kEmfHeaderSize = 88, kPlaceableSize = 22, kWmfHeaderSize = 18, kWordSize = 2;
// Where the claims of the header of an enhanced metafile stand.
constexpr size_t kBytesAt = 48, kRecordsAt = 52, kHandlesAt = 56;

uint64_t number_at(FileView bytes, size_t at, size_t width) {
    return read_number(bytes.subspan(at, width));
}

void put_at(FileBytes& bytes, size_t at, uint64_t number, size_t width) {
    FileBytes raw;
    append_number(raw, number, width);
    std::copy(raw.begin(), raw.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

// Reads one record after the other; `size_of` tells the size of the record at a place, and `is_last` its last one.
template <class SizeOf, class IsLast>
size_t read_records(RecordFamily family, FileView bytes, size_t at, std::vector<Ref<ManagedObject>>& records,
                    SizeOf size_of, IsLast is_last) {
    const size_t least = family == RecordFamily::kEmf ? 8 : 6;
    ContinuedObject continued;
    for (bool ended = false; !ended;) {
        const std::string where = "Record " + std::to_string(records.size() + 1) + ": ";
        if (bytes.size() - at < least) {
            throw MetafileError(where + "the file ends before its last record");
        }
        const uint64_t size = size_of(at);
        if (size < least || size > bytes.size() - at) {
            throw MetafileError(where + "it has " + std::to_string(size) + " bytes where there are " +
                                std::to_string(bytes.size() - at));
        }
        try {
            records.push_back(read_record(family, bytes.subspan(at, static_cast<size_t>(size)), continued));
        } catch (const MetafileError& error) {
            throw MetafileError(where + error.what());
        }
        ended = is_last(at);
        at += static_cast<size_t>(size);
    }
    return at;
}

std::vector<FileBytes> written(const std::vector<Ref<ManagedObject>>& records) {
    std::vector<FileBytes> all;
    all.reserve(records.size());
    for (const Ref<ManagedObject>& record : records) {
        all.push_back(write_record(*record));
    }
    return all;
}

FileBytes joined(const std::vector<FileBytes>& parts) {
    FileBytes out;
    for (const FileBytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

// The EMF+ records of all comments, in their order.
std::vector<Ref<ManagedObject>> plus_records(const std::vector<Ref<ManagedObject>>& records) {
    static const TypeInfo& comment = require_type("Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfCommentEmfPlus");
    std::vector<Ref<ManagedObject>> all;
    for (const Ref<ManagedObject>& record : records) {
        const Ref<ManagedObject> inner =
            is_assignable(comment, record->type()) ? property_object(*record, "Records") : nullptr;
        const auto* list = inner ? dynamic_cast<const ManagedList*>(inner.get()) : nullptr;
        for (size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const Value element = list->get(i);
            if (const auto* object = std::get_if<Ref<ManagedObject>>(&element); object != nullptr && *object) {
                all.push_back(*object);
            }
        }
    }
    return all;
}

// Objects that stand in several records are spread over these again.
void write_continued_objects(const std::vector<Ref<ManagedObject>>& records) {
    std::vector<Ref<ManagedObject>> parts;
    for (const Ref<ManagedObject>& record : plus_records(records)) {
        const auto* object = dynamic_cast<const MetafileObject*>(record.get());
        if (object == nullptr || !has_property(*record, "IsContinued")) {
            parts.clear();
            continue;
        }
        if (!object->continues) {
            parts.clear();
        }
        const bool more = property_bool(*record, "IsContinued");
        if (more || !parts.empty()) {
            parts.push_back(record);
        }
        if (!more && !parts.empty()) {
            write_parts(parts);
            parts.clear();
        }
    }
}

// The handles that the records of a file use: one more than the largest index that one of them creates.
uint64_t handle_count(const std::vector<Ref<ManagedObject>>& records) {
    static const TypeInfo& creation =
        require_type("Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfObjectCreationRecordType");
    int64_t largest = 0;
    for (const Ref<ManagedObject>& record : records) {
        if (!is_assignable(creation, record->type())) {
            continue;
        }
        for (const char* name : {"IhBrush", "IhPen", "IhFonts", "IhPal", "IhCs"}) {
            if (has_property(*record, name)) {
                largest = std::max(largest, property_int(*record, name));
            }
        }
    }
    return std::min<uint64_t>(static_cast<uint64_t>(largest) + 1, UINT16_MAX);
}

// How many objects of a Windows metafile exist at the same time at most: a new one takes the lowest free index.
uint64_t object_count(const std::vector<Ref<ManagedObject>>& records) {
    static const TypeInfo& graphic = require_type("Zelmor.Imaging.FileFormats.Wmf.Objects.WmfGraphicObject");
    static const TypeInfo& deletion = require_type("Zelmor.Imaging.FileFormats.Wmf.Objects.WmfDeleteObject");
    std::set<int64_t> free;
    int64_t next = 0;
    for (const Ref<ManagedObject>& record : records) {
        if (is_assignable(graphic, record->type())) {
            free.empty() ? static_cast<void>(++next) : static_cast<void>(free.erase(free.begin()));
        } else if (is_assignable(deletion, record->type())) {
            const int64_t index = property_int(*record, "ObjectIndex");
            if (index < next) {
                free.insert(index);
            }
        }
    }
    return static_cast<uint64_t>(std::min<int64_t>(next, UINT16_MAX));
}

FileBytes placeable_words(const Placeable& placeable) {
    FileBytes out;
    append_number(out, kPlaceableKey, 4);
    append_number(out, placeable.handle, 2);
    for (const int16_t side : {placeable.left, placeable.top, placeable.right, placeable.bottom}) {
        append_number(out, static_cast<uint16_t>(side), 2);
    }
    append_number(out, placeable.inch, 2);
    append_number(out, placeable.reserved, 4);
    return out;
}

uint16_t checksum_of(FileView words) {
    uint16_t sum = 0;
    for (size_t at = 0; at + kWordSize <= words.size(); at += kWordSize) {
        sum = static_cast<uint16_t>(sum ^ number_at(words, at, kWordSize));
    }
    return sum;
}

Placeable read_placeable(FileView bytes) {
    const auto side = [&](size_t at) { return static_cast<int16_t>(number_at(bytes, at, 2)); };
    Placeable placeable{static_cast<uint16_t>(number_at(bytes, 4, 2)),
                        side(6),
                        side(8),
                        side(10),
                        side(12),
                        static_cast<uint16_t>(number_at(bytes, 14, 2)),
                        static_cast<uint32_t>(number_at(bytes, 16, 4))};
    const auto checksum = static_cast<uint16_t>(number_at(bytes, 20, 2));
    if (checksum != checksum_of(bytes.subspan(0, 20))) {
        placeable.checksum = checksum;
    }
    return placeable;
}

}  // namespace

bool is_emf(FileView bytes) {
    return bytes.size() >= 44 && number_at(bytes, 0, 4) == kEmfHeader && number_at(bytes, 40, 4) == kEmfSignature;
}

bool is_wmf(FileView bytes) {
    if (bytes.size() >= kPlaceableSize && number_at(bytes, 0, 4) == kPlaceableKey) {
        return true;
    }
    if (bytes.size() < kWmfHeaderSize) {
        return false;
    }
    const uint64_t type = number_at(bytes, 0, 2), version = number_at(bytes, 4, 2);
    return (type == 1 || type == 2) && number_at(bytes, 2, 2) == 9 && (version == 0x100 || version == 0x300);
}

EmfFile read_emf(FileView bytes) {
    if (!is_emf(bytes) || bytes.size() < kEmfHeaderSize) {
        throw MetafileError("the file does not begin with the header of an enhanced metafile");
    }
    EmfFile file;
    const size_t end = read_records(
        RecordFamily::kEmf, bytes, 0, file.records, [&](size_t at) { return number_at(bytes, at + 4, 4); },
        [&](size_t at) { return number_at(bytes, at, 4) == kEmfEnd; });
    file.source.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end));
    file.tail.assign(bytes.begin() + static_cast<std::ptrdiff_t>(end), bytes.end());
    return file;
}

FileBytes write_emf(const EmfFile& file) {
    write_continued_objects(file.records);
    FileBytes out = joined(written(file.records));
    if (out != file.source) {
        if (!is_emf(out) || out.size() < kEmfHeaderSize) {
            throw MetafileError("the first record is not the header of an enhanced metafile");
        }
        put_at(out, kBytesAt, out.size(), 4);
        put_at(out, kRecordsAt, file.records.size(), 4);
        put_at(out, kHandlesAt, handle_count(file.records), 2);
    }
    out.insert(out.end(), file.tail.begin(), file.tail.end());
    return out;
}

WmfFile read_wmf(FileView bytes) {
    if (!is_wmf(bytes)) {
        throw MetafileError("the file does not begin with the header of a Windows metafile");
    }
    WmfFile file;
    size_t at = 0;
    if (number_at(bytes, 0, 4) == kPlaceableKey) {
        file.placeable = read_placeable(bytes);
        at = kPlaceableSize;
    }
    if (bytes.size() - at < kWmfHeaderSize) {
        throw MetafileError("the header of the Windows metafile ends too early");
    }
    const auto word = [&](size_t offset) { return static_cast<uint16_t>(number_at(bytes, at + offset, 2)); };
    file.header = {word(0),  word(2),
                   word(4),  static_cast<uint32_t>(number_at(bytes, at + 6, 4)),
                   word(10), static_cast<uint32_t>(number_at(bytes, at + 12, 4)),
                   word(16)};
    at += kWmfHeaderSize;
    const size_t begin = at;
    const size_t end = read_records(
        RecordFamily::kWmf, bytes, at, file.records, [&](size_t each) { return number_at(bytes, each, 4) * kWordSize; },
        [&](size_t each) { return number_at(bytes, each + 4, 2) == 0; });
    file.source.assign(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                       bytes.begin() + static_cast<std::ptrdiff_t>(end));
    file.tail.assign(bytes.begin() + static_cast<std::ptrdiff_t>(end), bytes.end());
    return file;
}

FileBytes write_wmf(const WmfFile& file) {
    const std::vector<FileBytes> records = written(file.records);
    const FileBytes all = joined(records);
    WmfHeader header = file.header;
    if (all != file.source) {
        size_t largest = 0;
        for (const FileBytes& record : records) {
            largest = std::max(largest, record.size());
        }
        header.size = static_cast<uint32_t>((kWmfHeaderSize + all.size()) / kWordSize);
        header.largest_record = static_cast<uint32_t>(largest / kWordSize);
        header.object_count = static_cast<uint16_t>(object_count(file.records));
    }
    FileBytes out;
    if (file.placeable) {
        out = placeable_words(*file.placeable);
        append_number(out, file.placeable->checksum.value_or(checksum_of(out)), 2);
    }
    append_number(out, header.type, 2);
    append_number(out, header.header_size, 2);
    append_number(out, header.version, 2);
    append_number(out, header.size, 4);
    append_number(out, header.object_count, 2);
    append_number(out, header.largest_record, 4);
    append_number(out, header.member_count, 2);
    out.insert(out.end(), all.begin(), all.end());
    out.insert(out.end(), file.tail.begin(), file.tail.end());
    return out;
}

}  // namespace zelmor::embed::metafile
