// Walking over the items of a block, reading and writing; see record_walk.h.
#include "runtime/native/formats/metafile/record_walk.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <unordered_map>

#include "runtime/native/core/values.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int kDeepest = 400;  // objects within objects
// How often the bytes of a record may be read, on the average: fields at offsets may share bytes, but many that claim
// the whole record would take its memory many times.
constexpr uint64_t kMostReadings = 8;

const RecordPath& path_number(int16_t path) {
    return record_paths()[static_cast<size_t>(path)];
}

ManagedObject* object_in(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    return object != nullptr ? object->get() : nullptr;
}

ManagedList* list_in(const Value& value) {
    return dynamic_cast<ManagedList*>(object_in(value));
}

Wire element_wire(const PropertyInfo* info) {
    return info != nullptr ? element_of(info->collection).wire : Wire::kInt64;
}

int16_t other(const RecordItem& item, int32_t index) {
    assert(index < item.other_count);
    return record_others()[static_cast<size_t>(item.others) + static_cast<size_t>(index)];
}

bool is_size(int64_t number, size_t most) {
    return number >= 0 && static_cast<uint64_t>(number) <= most;
}

}  // namespace

const PropertyInfo* declared(const ManagedObject& object, const char* name) {
    const auto found = find_property(object.type(), name);
    return found ? found->info : nullptr;
}

std::string name_of(const Frame& frame, const RecordItem& item) {
    const char* name = item.path >= 0 ? path_number(item.path).first : "";
    return std::string(frame.block->name) + "." + name;
}

void Walk::fail(const Frame& frame, const RecordItem& item, const std::string& text) const {
    throw MetafileError(name_of(frame, item) + " " + text);
}

// -- places and values ------------------------------------------------------------------------------------------------

FileView Walk::need(Frame& frame, const RecordItem& item, uint64_t size) {
    assert(!m_writing);
    if (size > m_limit - m_at) {
        fail(frame, item, "takes " + std::to_string(size) + " bytes, but there are " + std::to_string(m_limit - m_at));
    }
    m_taken += size;
    if (m_taken > kMostReadings * uint64_t{m_data.size()}) {
        fail(frame, item, "overlaps with too many other fields");
    }
    const FileView bytes = m_data.subspan(m_at, static_cast<size_t>(size));
    m_at += static_cast<size_t>(size);
    m_high = std::max(m_high, m_at);
    return bytes;
}

void Walk::note(Frame& frame, const RecordItem& item, size_t begin) {
    frame.places.push_back({item.path, begin, position()});
    if (item.kind != ItemKind::kObject && item.kind != ItemKind::kObjects && item.kind != ItemKind::kRecords &&
        item.kind != ItemKind::kMark) {
        m_chunks.push_back({begin, position() - begin});
    }
}

void Walk::store(Frame& frame, const RecordItem& item, Value value) {
    const RecordPath& path = path_number(item.path);
    if (path.scope == PathScope::kOuter) {
        assert(frame.outer != nullptr);
        ManagedObject& around = *frame.outer->object;
        if (frame.index == kNowhere) {
            set_property(around, path.first, std::move(value));
            return;
        }
        const auto position = static_cast<size_t>(frame.index);
        ManagedList* known = list_in(property(around, path.first));
        if (known == nullptr || position == 0) {
            const ElementType& element = element_of(declared(around, path.first)->collection);
            Ref<ManagedList> made = make_list(ListShape::kArray, element);
            known = made.get();
            set_property(around, path.first, Value(std::move(made)));
        }
        if (known->size() <= position) {
            known->resize(position + 1);
        }
        known->set(position, value);
        return;
    }
    if (*path.second == '\0') {
        set_property(*frame.object, path.first, std::move(value));
        return;
    }
    if (object_in(property(*frame.object, path.first)) == nullptr) {
        const PropertyInfo* info = declared(*frame.object, path.first);
        set_property(*frame.object, path.first, Value(make_instance(types()[static_cast<size_t>(info->type)])));
    }
    set_property(*object_in(property(*frame.object, path.first)), path.second, std::move(value));
}

Value Walk::load(Frame& frame, const RecordItem& item) const {
    return property_of_path(frame, item.path);
}

void Walk::keep_if_different(Frame& frame, const RecordItem& item, FileView read, const FileBytes& written) {
    if (frame.keeper != nullptr && !std::equal(read.begin(), read.end(), written.begin(), written.end())) {
        frame.keeper->keep(key(item), KeptAs::kField, {read.begin(), read.end()});
    }
}

// The number of a field whose bits are properties of their own.
uint64_t Walk::with_bits(Frame& frame, const RecordItem& item, uint64_t raw) {
    for (int32_t i = 0; i < frame.block->count; ++i) {
        const RecordItem& each = record_items()[static_cast<size_t>(frame.block->first) + static_cast<size_t>(i)];
        if (each.kind != ItemKind::kBits || other(each, 0) != item.path) {
            continue;
        }
        const int64_t value =
            each.derived >= 0 ? evaluate(frame, each.derived, each) : number_of(property_of_path(frame, each.path));
        const uint64_t mask = (uint64_t{1} << (each.high - each.low + 1)) - 1;
        const auto bits = static_cast<uint64_t>(value);
        const bool negative = each.preset == 1 && value < 0;
        if (negative ? value < -static_cast<int64_t>(mask / 2 + 1) : bits > mask) {
            fail(frame, each, "has no place for " + std::to_string(value));
        }
        raw = (raw & ~(mask << each.low)) | (bits & mask) << each.low;
    }
    return raw;
}

// -- items ------------------------------------------------------------------------------------------------------------

void Walk::items(Frame& frame) {
    for (int32_t i = 0; i < frame.block->count; ++i) {
        const RecordItem& each = record_items()[static_cast<size_t>(frame.block->first) + static_cast<size_t>(i)];
        if (each.at >= 0) {
            m_deferred.push_back({&frame, &each});
        } else if (is_there(frame, each)) {
            item(frame, each);
        }
    }
}

bool Walk::is_there(Frame& frame, const RecordItem& item) {
    if (item.condition >= 0 && evaluate(frame, item.condition, item) == 0) {
        return false;
    }
    if (item.present < 0) {
        return true;
    }
    if (!m_writing) {
        const bool there = evaluate(frame, item.present, item) != 0;
        if (!there && frame.keeper != nullptr && item.kind == ItemKind::kField) {
            frame.keeper->keep(key(item), KeptAs::kAbsent, {});
        }
        return there;
    }
    const Value value = load(frame, item);
    if (item.kind != ItemKind::kField) {
        return !is_null(value);
    }
    const bool missed = frame.keeper != nullptr && frame.keeper->find_kept(key(item), KeptAs::kAbsent) != nullptr;
    return !missed || number_of(value) != 0;
}

void Walk::item(Frame& frame, const RecordItem& item) {
    switch (item.kind) {
        case ItemKind::kField:
            return field(frame, item);
        case ItemKind::kList:
            return list(frame, item);
        case ItemKind::kSeries:
            return series(frame, item);
        case ItemKind::kObject:
            return object(frame, item);
        case ItemKind::kObjects:
            return objects(frame, item);
        case ItemKind::kRecords:
            return records(frame, item);
        case ItemKind::kBits:
            return bits(frame, item);
        case ItemKind::kAlign:
            return align(frame, item);
        case ItemKind::kMark:
            return note(frame, item, position());
        case ItemKind::kComputed:
            return computed(frame, item);
        case ItemKind::kCopied:
            return copied(frame, item);
        case ItemKind::kView:
            return view(frame, item);
    }
}

void Walk::field(Frame& frame, const RecordItem& item) {
    const size_t width = width_of(item.form);
    const bool local = path_number(item.path).scope == PathScope::kLocal;
    const size_t begin = position();
    const std::string name = name_of(frame, item);
    const PropertyInfo* info = local ? nullptr : declared(*frame.object, path_number(item.path).first);
    const Wire wire = info != nullptr ? info->wire : Wire::kInt64;
    if (!m_writing) {
        const FileView raw = need(frame, item, width);
        note(frame, item, begin);
        if (local) {
            const auto number = static_cast<int64_t>(read_number(raw));
            frame.values.emplace_back(item.path, number);
            if (item.derived < 0 && number != item.preset && frame.keeper != nullptr) {
                frame.keeper->keep(key(item), KeptAs::kField, {raw.begin(), raw.end()});
            }
            return;
        }
        const Value value = decode_value(item.form, raw, wire);
        store(frame, item, value);
        if (item.derived < 0) {
            FileBytes again;
            encode_value(item.form, value, name.c_str(), again);
            keep_if_different(frame, item, raw, again);
        }
        return;
    }

    FileBytes out;
    const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kField) : nullptr;
    if (item.derived >= 0 && needs_places(item.derived)) {
        m_fixups.push_back({&frame, &item, begin, width});
        out.resize(width);
    } else if (item.derived >= 0) {
        const int64_t number = evaluate(frame, item.derived, item);
        frame.values.emplace_back(item.path, number);
        encode_value(item.form, number, name.c_str(), out);
    } else if (local) {
        if (kept != nullptr) {
            out = kept->bytes;
        } else {
            append_number(out, static_cast<uint64_t>(item.preset), width);
        }
    } else {
        encode_value(item.form, load(frame, item), name.c_str(), out);
        if (kept != nullptr) {
            FileBytes again;
            encode_value(item.form, decode_value(item.form, kept->bytes, wire), name.c_str(), again);
            out = again == out ? kept->bytes : out;
        }
    }
    if (is_number(item.form) && width <= 4) {
        const uint64_t number = with_bits(frame, item, read_number(out));
        out.clear();
        append_number(out, number, width);
        if (local) {
            frame.values.emplace_back(item.path, static_cast<int64_t>(number));
        }
    }
    put(out);
    note(frame, item, begin);
}

// How many elements of at least that width a list has; what does not fit into the bytes is damage.
size_t Walk::counted(Frame& frame, const RecordItem& item, size_t width) {
    const int64_t count = evaluate(frame, item.count, item);
    if (!is_size(count, (m_limit - m_at) / std::max<size_t>(width, 1))) {
        fail(frame, item,
             "has " + std::to_string(count) + " elements, but there are " + std::to_string(m_limit - m_at) + " bytes");
    }
    return static_cast<size_t>(count);
}

void Walk::list(Frame& frame, const RecordItem& item) {
    const size_t width = width_of(item.form), begin = position();
    const std::string name = name_of(frame, item);
    const PropertyInfo* info = declared(*frame.object, path_number(item.path).first);
    const Wire wire = element_wire(info);
    const auto encoded = [&](ManagedList* values) {
        FileBytes out;
        for (size_t i = 0; values != nullptr && i < values->size(); ++i) {
            encode_value(item.form, values->get(i), name.c_str(), out);
        }
        return out;
    };
    const auto decoded = [&](FileView raw) {
        Ref<ManagedList> values = make_list(ListShape::kArray, element_of(info->collection), raw.size() / width);
        for (size_t i = 0; i < values->size(); ++i) {
            values->set(i, decode_value(item.form, raw.subspan(i * width, width), wire));
        }
        return values;
    };
    if (!m_writing) {
        const size_t count = counted(frame, item, width);
        const FileView raw = need(frame, item, count * width);
        note(frame, item, begin);
        Ref<ManagedList> values = decoded(raw);
        keep_if_different(frame, item, raw, encoded(values.get()));
        store(frame, item, Value(std::move(values)));
        return;
    }
    const Value value = load(frame, item);
    FileBytes out = encoded(list_in(value));
    if (item.checked) {
        const int64_t count = evaluate(frame, item.count, item);
        if (!is_size(count, SIZE_MAX / width) || out.size() != static_cast<size_t>(count) * width) {
            fail(frame, item,
                 "has " + std::to_string(out.size() / width) + " elements, but the record has place for " +
                     std::to_string(count));
        }
    }
    const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kField) : nullptr;
    if (kept != nullptr && encoded(decoded(kept->bytes).get()) == out) {
        out = kept->bytes;
    }
    put(out);
    note(frame, item, begin);
}

// Bytes that no property stands for.
void Walk::local_series(Frame& frame, const RecordItem& item) {
    const size_t begin = position();
    if (!m_writing) {
        const FileView raw = need(frame, item, counted(frame, item, 1));
        note(frame, item, begin);
        if (frame.keeper != nullptr && !raw.empty()) {
            frame.keeper->keep(key(item), KeptAs::kField, {raw.begin(), raw.end()});
        }
        return;
    }
    const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kField) : nullptr;
    FileBytes out = kept != nullptr ? kept->bytes : FileBytes();
    if (item.checked) {
        const int64_t count = evaluate(frame, item.count, item);
        out.resize(is_size(count, out.size()) ? static_cast<size_t>(count) : out.size());
    }
    put(out);
    note(frame, item, begin);
}

void Walk::series(Frame& frame, const RecordItem& item) {
    if (path_number(item.path).scope == PathScope::kLocal) {
        return local_series(frame, item);
    }
    const size_t begin = position();
    const std::string name = name_of(frame, item);
    const bool relative = item.form == RecordForm::kPointr || item.form == RecordForm::kTsrect;
    const auto encoded = [&](const Value& value) -> FileBytes {
        if (!relative) {
            const size_t units = item.fixed ? static_cast<size_t>(evaluate(frame, item.count, item)) : 0;
            return encode_series(item.form, value, item.fixed, units, name.c_str());
        }
        std::vector<Value> values;
        ManagedList* list = list_in(value);
        for (size_t i = 0; list != nullptr && i < list->size(); ++i) {
            values.push_back(list->get(i));
        }
        return encode_relative(item.form, values, name.c_str());
    };
    const auto decoded = [&](FileView raw, size_t count, size_t& used) -> Value {
        if (!relative) {
            used = count * width_of(item.form);
            return decode_series(item.form, raw.subspan(0, used));
        }
        const std::vector<Value> values = decode_relative(item.form, raw, count, used);
        const PropertyInfo* info = declared(*frame.object, path_number(item.path).first);
        Ref<ManagedList> list = make_list(ListShape::kArray, element_of(info->collection), values.size());
        for (size_t i = 0; i < values.size(); ++i) {
            list->set(i, values[i]);
        }
        return Value(std::move(list));
    };
    size_t used = 0;
    if (!m_writing) {
        const size_t count = counted(frame, item, relative ? 2 : width_of(item.form));
        Value value = decoded(m_data.subspan(m_at, m_limit - m_at), count, used);
        const FileView raw = need(frame, item, used);
        note(frame, item, begin);
        keep_if_different(frame, item, raw, encoded(value));
        store(frame, item, std::move(value));
        return;
    }
    const Value value = load(frame, item);
    FileBytes out = encoded(value);
    const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kField) : nullptr;
    if (kept != nullptr) {
        const ManagedList* list = list_in(value);
        const size_t count = relative ? (list != nullptr ? list->size() : 0) : kept->bytes.size() / width_of(item.form);
        if ((!relative || count * 2 <= kept->bytes.size()) && (relative || item.fixed || !out.empty())) {
            bool same = false;
            try {
                same = encoded(decoded(kept->bytes, count, used)) == out;
            } catch (const MetafileError&) {
                same = false;  // the list has more elements than the bytes that are kept
            }
            out = same ? kept->bytes : out;
        }
    }
    put(out);
    note(frame, item, begin);
}

// -- objects in objects -----------------------------------------------------------------------------------------------

const RecordBlock* Walk::block_to_read(Frame& frame, const RecordItem& item) {
    if (!item.is_choice) {
        return &record_blocks()[static_cast<size_t>(item.reference)];
    }
    const int64_t number = evaluate(frame, item.by, item);
    for (const ChoiceRow& row : record_choices()[static_cast<size_t>(item.reference)].rows) {
        if (row.otherwise || row.value == number) {
            return row.block >= 0 ? &record_blocks()[static_cast<size_t>(row.block)] : nullptr;
        }
    }
    return nullptr;  // a number that the format does not name: its bytes are kept behind the object
}

const RecordBlock& Walk::block_to_write(Frame& frame, const RecordItem& item, const ManagedObject& object) {
    if (!item.is_choice) {
        const RecordBlock& block = record_blocks()[static_cast<size_t>(item.reference)];
        if (is_assignable(require_type(block.type), object.type())) {
            return block;
        }
    } else {
        for (const ChoiceRow& row : record_choices()[static_cast<size_t>(item.reference)].rows) {
            if (row.block < 0) {
                continue;
            }
            const RecordBlock& block = record_blocks()[static_cast<size_t>(row.block)];
            if (std::strcmp(block.type, object.type().full_name) == 0) {
                return block;
            }
        }
    }
    fail(frame, item, std::string("cannot be an object of the class ") + object.type().name);
}

void Walk::child(Frame& frame, const RecordItem& item, ManagedObject& object, const RecordBlock& block, int64_t index) {
    if (m_depth == kDeepest) {
        fail(frame, item, "has too many objects within objects");
    }
    auto* keeper = dynamic_cast<MetafileObject*>(&object);
    const int64_t parameter = item.argument >= 0 ? evaluate(frame, item.argument, item) : 0;
    m_frames.push_back({&block, &object, &frame, index, parameter, keeper != nullptr ? keeper : frame.keeper});
    const auto made =
        std::find_if(m_made.begin(), m_made.end(), [&](const auto& each) { return each.first == &block; });
    if (made != m_made.end()) {
        ++made->second;
    } else {
        m_made.emplace_back(&block, 1);
    }
    ++m_depth;
    items(m_frames.back());
    --m_depth;
}

void Walk::object(Frame& frame, const RecordItem& item) {
    const size_t begin = position(), outer_limit = m_limit;
    if (!m_writing) {
        if (item.limit >= 0) {
            const int64_t size = evaluate(frame, item.limit, item);
            if (!is_size(size, m_limit - m_at)) {
                fail(frame, item,
                     "has " + std::to_string(size) + " bytes, but there are " + std::to_string(m_limit - m_at));
            }
            m_limit = m_at + static_cast<size_t>(size);
        }
        if (const RecordBlock* block = block_to_read(frame, item)) {
            // The property may hold an object already: pixels and header of a bitmap are two items.
            Ref<ManagedObject> made = make_instance(block->type);
            ManagedObject& object = *made;
            store(frame, item, Value(std::move(made)));
            child(frame, item, object, *block, kNowhere);
        }
        if (item.limit >= 0) {
            const FileView tail = m_data.subspan(m_at, m_limit - m_at);
            if (!tail.empty() && frame.keeper != nullptr) {
                frame.keeper->keep(key(item), KeptAs::kTail, {tail.begin(), tail.end()});
            }
            m_at = m_limit;
            m_high = std::max(m_high, m_at);
            m_limit = outer_limit;
            m_chunks.push_back({m_at - tail.size(), tail.size()});
        }
        note(frame, item, begin);
        return;
    }
    const Value value = load(frame, item);
    if (ManagedObject* object = object_in(value)) {
        const RecordBlock& block = block_to_write(frame, item, *object);
        if (item.is_choice && is_known_when_writing(item.by) && block_to_read(frame, item) != &block) {
            fail(frame, item,
                 std::string("is an object of the class ") + object->type().name +
                     ", but the fields before it tell of another");
        }
        child(frame, item, *object, block, kNowhere);
    } else if (block_to_read(frame, item) != nullptr) {
        fail(frame, item, "is None");
    }
    if (item.limit >= 0) {
        const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kTail) : nullptr;
        const size_t end = position();
        if (kept != nullptr) {
            put(kept->bytes);
        }
        m_chunks.push_back({end, position() - end});
    }
    note(frame, item, begin);
}

void Walk::objects(Frame& frame, const RecordItem& item) {
    const size_t begin = position();
    const char* runs = item.other_count > 0 ? path_number(other(item, 0)).first : nullptr;
    if (m_writing) {
        const Value value = load(frame, item);
        ManagedList* list = list_in(value);
        const size_t size = list != nullptr ? list->size() : 0;
        int64_t covered = 0;
        for (size_t i = 0; i < size; ++i) {
            const Value element = list->get(i);
            ManagedObject* object = object_in(element);
            if (object == nullptr) {
                fail(frame, item, "has an element that is None");
            }
            covered += runs != nullptr && has_property(*object, runs) ? property_int(*object, runs) : 1;
            child(frame, item, *object, block_to_write(frame, item, *object), static_cast<int64_t>(i));
        }
        if (item.checked && runs == nullptr && evaluate(frame, item.count, item) != covered) {
            fail(frame, item,
                 "has " + std::to_string(size) + " elements, but the record has place for " +
                     std::to_string(evaluate(frame, item.count, item)));
        }
        note(frame, item, begin);
        return;
    }
    const int64_t wanted = evaluate(frame, item.count, item);
    if (runs == nullptr) {
        counted(frame, item, 1);
    }
    const PropertyInfo* info = declared(*frame.object, path_number(item.path).first);
    std::vector<Ref<ManagedObject>> made;
    for (int64_t covered = 0; covered < wanted;) {
        const RecordBlock* block = block_to_read(frame, item);
        assert(block != nullptr);
        made.push_back(make_instance(block->type));
        child(frame, item, *made.back(), *block, static_cast<int64_t>(made.size()) - 1);
        covered += runs != nullptr ? property_int(*made.back(), runs) : 1;
        if (runs != nullptr && m_at == m_limit && covered < wanted) {
            fail(frame, item, "ends too early");
        }
    }
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(info->collection), made.size());
    for (size_t i = 0; i < made.size(); ++i) {
        list->set(i, Value(made[i]));
    }
    store(frame, item, Value(std::move(list)));
    note(frame, item, begin);
}

void Walk::records(Frame& frame, const RecordItem& item) {
    constexpr size_t kFrameSize = 12;
    const size_t begin = position();
    if (m_writing) {
        const Value value = load(frame, item);
        ManagedList* list = list_in(value);
        for (size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const Value element = list->get(i);
            if (object_in(element) == nullptr) {
                fail(frame, item, "has an element that is None");
            }
            const FileBytes bytes = write_record(*object_in(element));
            m_chunks.push_back({position(), bytes.size()});
            put(bytes);
        }
        const size_t end = position();
        if (const Kept* kept = frame.keeper->find_kept(key(item), KeptAs::kTail)) {
            put(kept->bytes);
        }
        m_chunks.push_back({end, position() - end});
        note(frame, item, begin);
        return;
    }
    const int64_t size = evaluate(frame, item.limit, item);
    if (!is_size(size, m_limit - m_at)) {
        fail(frame, item, "has " + std::to_string(size) + " bytes, but there are " + std::to_string(m_limit - m_at));
    }
    const FileView all = need(frame, item, static_cast<uint64_t>(size));
    const PropertyInfo* info = declared(*frame.object, path_number(item.path).first);
    std::vector<Ref<ManagedObject>> made;
    size_t at = 0;
    while (all.size() - at >= kFrameSize) {
        const uint64_t record_size = read_number(all.subspan(at + 4, 4));
        if (record_size < kFrameSize || record_size > all.size() - at) {
            fail(frame, item,
                 "has a record of " + std::to_string(record_size) + " bytes where there are " +
                     std::to_string(all.size() - at));
        }
        assert(m_continued != nullptr);
        made.push_back(read_record(RecordFamily::kEmfPlus, all.subspan(at, record_size), *m_continued));
        m_chunks.push_back({begin + at, record_size});
        at += record_size;
    }
    if (at < all.size()) {
        frame.keeper->keep(key(item), KeptAs::kTail, {all.begin() + static_cast<std::ptrdiff_t>(at), all.end()});
    }
    m_chunks.push_back({begin + at, all.size() - at});
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(info->collection), made.size());
    for (size_t i = 0; i < made.size(); ++i) {
        list->set(i, Value(made[i]));
    }
    store(frame, item, Value(std::move(list)));
    note(frame, item, begin);
}

// -- what has no bytes of its own -------------------------------------------------------------------------------------

void Walk::bits(Frame& frame, const RecordItem& item) {
    if (m_writing) {
        return;  // written with the field that they are a part of
    }
    const auto whole = static_cast<uint64_t>(value_of_path(frame, other(item, 0)));
    const int size = item.high - item.low + 1;
    const uint64_t mask = (uint64_t{1} << size) - 1;
    auto number = static_cast<int64_t>(whole >> item.low & mask);
    if (item.preset == 1 && number >> (size - 1) != 0) {
        number -= int64_t{1} << size;
    }
    const PropertyInfo* info = declared(*frame.object, path_number(item.path).first);
    store(frame, item, narrowed(number, info->wire));
}

void Walk::align(Frame& frame, const RecordItem& item) {
    const auto unit = static_cast<size_t>(item.preset);
    const size_t begin = position(), padding = (unit - begin % unit) % unit;
    if (!m_writing) {
        const FileView raw = need(frame, item, std::min(padding, m_limit - m_at));
        note(frame, item, begin);
        keep_if_different(frame, item, raw, FileBytes(padding));
        return;
    }
    const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(key(item), KeptAs::kField) : nullptr;
    put(kept != nullptr && kept->bytes.size() <= padding ? kept->bytes : FileBytes(padding));
    note(frame, item, begin);
}

void Walk::computed(Frame& frame, const RecordItem& item) {
    const bool local = path_number(item.path).scope == PathScope::kLocal;
    if (m_writing) {
        if (local) {
            const int32_t expression = item.writing >= 0 ? item.writing : item.derived;
            frame.values.emplace_back(item.path, evaluate(frame, expression, item));
        }
        return;
    }
    const int64_t number = evaluate(frame, item.derived, item);
    if (local) {
        frame.values.emplace_back(item.path, number);
        return;
    }
    store(frame, item, narrowed(number, declared(*frame.object, path_number(item.path).first)->wire));
}

void Walk::copied(Frame& frame, const RecordItem& item) {
    const Value value = property_of_path(frame, other(item, 0));
    const ManagedObject* from = object_in(value);
    if (!m_writing && from != nullptr) {
        cast_object<Record>(*frame.object).assign_from(cast_object<Record>(*const_cast<ManagedObject*>(from)));
    }
}

void Walk::view(Frame& frame, const RecordItem& item) {
    if (m_writing) {
        return;
    }
    const auto part = [&](int32_t index) {
        return static_cast<int32_t>(number_of(property_of_path(frame, other(item, index))));
    };
    store(frame, item, box(RectangleValue{part(0), part(1), part(2), part(3)}));
}

// -- what stands at an offset -----------------------------------------------------------------------------------------

void Walk::deferred_item(Frame& frame, const RecordItem& item) {
    if (item.condition >= 0 && evaluate(frame, item.condition, item) == 0) {
        return;
    }
    if (m_writing) {
        const Value value = load(frame, item);
        const auto* bytes = std::get_if<Bytes>(&value);
        const auto* text = std::get_if<std::u16string>(&value);
        const ManagedList* list = list_in(value);
        if (is_null(value) || (bytes != nullptr && bytes->empty()) || (text != nullptr && text->empty()) ||
            (list != nullptr && list->size() == 0)) {
            return;
        }
        m_out.resize((m_out.size() + 3) / 4 * 4);
        this->item(frame, item);
        return;
    }
    const int64_t at = evaluate(frame, item.at, item);
    if (at == 0 || (item.limit >= 0 && evaluate(frame, item.limit, item) == 0) ||
        (item.count >= 0 && evaluate(frame, item.count, item) == 0)) {
        return;
    }
    if (!is_size(at, m_data.size())) {
        fail(frame, item,
             "stands at " + std::to_string(at) + ", but the record has " + std::to_string(m_data.size()) + " bytes");
    }
    m_at = static_cast<size_t>(at);
    m_limit = m_data.size();
    this->item(frame, item);
}

void Walk::deferred() {
    while (!m_deferred.empty()) {
        const Deferred next = m_deferred.front();
        m_deferred.pop_front();
        deferred_item(*next.frame, *next.item);
    }
}

// -- the record -------------------------------------------------------------------------------------------------------

void Walk::end_of_record(Frame& frame) {
    if (!m_writing) {
        const FileView tail = m_data.subspan(m_high);
        if (!tail.empty() && frame.keeper != nullptr) {
            frame.keeper->keep(-1, KeptAs::kTail, {tail.begin(), tail.end()});
        }
        m_chunks.push_back({m_high, tail.size()});
        return;
    }
    const size_t end = m_out.size();
    if (const Kept* kept = frame.keeper != nullptr ? frame.keeper->find_kept(-1, KeptAs::kTail) : nullptr) {
        put(kept->bytes);
    }
    if (frame.block->kind != BlockKind::kObject) {
        const size_t unit = frame.block->family == RecordFamily::kWmf ? 2 : 4;
        m_out.resize((m_out.size() + unit - 1) / unit * unit);
    }
    m_chunks.push_back({end, m_out.size() - end});
    for (const Fixup& fixup : m_fixups) {
        const int64_t number = evaluate(*fixup.frame, fixup.item->derived, *fixup.item);
        FileBytes bytes;
        encode_value(fixup.item->form, number, name_of(*fixup.frame, *fixup.item).c_str(), bytes);
        std::copy(bytes.begin(), bytes.end(), m_out.begin() + static_cast<std::ptrdiff_t>(fixup.position));
    }
}

void Walk::record(const RecordBlock& block, ManagedObject& object) {
    m_frames.push_back({&block, &object, nullptr, kNowhere, 0, dynamic_cast<MetafileObject*>(&object)});
    Frame& frame = m_frames.back();
    items(frame);
    m_high = std::max(m_high, m_at);
    deferred();
    end_of_record(frame);
}

// -- records ----------------------------------------------------------------------------------------------------------

namespace {

int64_t number_in(RecordFamily family, FileView bytes) {
    switch (family) {
        case RecordFamily::kWmf:
            return static_cast<int64_t>(read_number(bytes.subspan(4, 2)));
        case RecordFamily::kEmf:
            return static_cast<int64_t>(read_number(bytes.subspan(0, 4)));
        case RecordFamily::kEmfPlus:
            break;
    }
    return static_cast<int64_t>(read_number(bytes.subspan(0, 2)));
}

size_t frame_size(RecordFamily family) {
    return family == RecordFamily::kWmf ? 6 : family == RecordFamily::kEmf ? 8 : 12;
}

struct Numbered {
    std::vector<const RecordBlock*> blocks;  // those with a condition first, the last one of them before the others
};

const std::unordered_map<int64_t, Numbered>& numbered() {
    static const auto& all = *new std::unordered_map<int64_t, Numbered>([] {
        std::unordered_map<int64_t, Numbered> found;
        for (const RecordBlock& block : record_blocks()) {
            if (block.kind == BlockKind::kRecord) {
                auto& blocks = found[static_cast<int64_t>(block.family) << 32 | block.number].blocks;
                blocks.insert(blocks.begin(), &block);
            }
        }
        for (auto& [key, entry] : found) {
            std::stable_partition(entry.blocks.begin(), entry.blocks.end(),
                                  [](const RecordBlock* block) { return block->condition >= 0; });
        }
        return found;
    }());
    return all;
}

const RecordBlock& raw_block(RecordFamily family) {
    const auto blocks = record_blocks();
    const auto found = std::find_if(blocks.begin(), blocks.end(), [&](const RecordBlock& block) {
        return block.kind == BlockKind::kRaw && block.family == family;
    });
    assert(found != blocks.end());
    return *found;
}

// In a Windows metafile the low byte tells the function; the high byte, the number of words, may be another.
const Numbered* find_numbered(RecordFamily family, int64_t number) {
    const auto key = [&](int64_t each) { return static_cast<int64_t>(family) << 32 | each; };
    if (const auto found = numbered().find(key(number)); found != numbered().end()) {
        return &found->second;
    }
    if (family == RecordFamily::kWmf) {
        for (const auto& [each, entry] : numbered()) {
            if (each >> 32 == static_cast<int64_t>(family) && (each & 0xFF) == (number & 0xFF) &&
                (each & 0xFFFF) != 0) {
                return &entry;
            }
        }
    }
    return nullptr;
}

// The record again, as its properties have it.
FileBytes canonical(const RecordBlock& block, const ManagedObject& object, std::vector<Walk::Chunk>* chunks = nullptr) {
    Walk walk;
    walk.record(block, const_cast<ManagedObject&>(object));
    if (chunks != nullptr) {
        *chunks = walk.chunks();
    }
    return walk.take();
}

constexpr int64_t kPlusObject = 0x4008;
constexpr uint64_t kContinuedFlag = 0x8000;

// Whether the record is a later part of the object that is being continued: one of the same kind and index.
bool is_later_part(const ContinuedObject& continued, FileView bytes) {
    if (!continued.first || number_in(RecordFamily::kEmfPlus, bytes) != kPlusObject) {
        return false;
    }
    const auto flags = static_cast<int64_t>(read_number(bytes.subspan(2, 2)));
    return ((property_int(*continued.first, "Flags") ^ flags) & 0x7FFF) == 0;
}

const RecordBlock* block_of_object_type(int64_t type) {
    for (const RecordChoice& choice : record_choices()) {
        if (std::strcmp(choice.name, "EmfPlusObjectData") != 0) {
            continue;
        }
        for (const ChoiceRow& row : choice.rows) {
            if (row.value == type && row.block >= 0) {
                return &record_blocks()[static_cast<size_t>(row.block)];
            }
        }
    }
    return nullptr;
}

// Adds a part; the last one completes the object, which the first record then has.
void add_part(ContinuedObject& continued, const Ref<ManagedObject>& record, FileView bytes) {
    const bool more = (read_number(bytes.subspan(2, 2)) & kContinuedFlag) != 0;
    const size_t head = frame_size(RecordFamily::kEmfPlus) + (more ? 4 : 0);
    if (!continued.first) {
        continued.first = record;
    }
    if (bytes.size() > head) {
        continued.data.insert(continued.data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(head), bytes.end());
    }
    if (more) {
        return;
    }
    if (const RecordBlock* block = block_of_object_type(property_int(*continued.first, "ObjectType"))) {
        set_property(*continued.first, "ObjectData", Value(read_object(*block, continued.data)));
    }
    continued = {};
}

}  // namespace

Ref<ManagedObject> read_object(const RecordBlock& block, FileView bytes) {
    Ref<ManagedObject> object = make_instance(block.type);
    Walk walk(bytes, nullptr);
    walk.record(block, *object);
    return object;
}

FileBytes write_object(const RecordBlock& block, const ManagedObject& object) {
    return canonical(block, object);
}

namespace {

// The item of the bytes of a part.
int32_t part_item(const RecordBlock& block) {
    for (int32_t i = block.first; i < block.first + block.count; ++i) {
        const RecordItem& item = record_items()[static_cast<size_t>(i)];
        if (item.kind == ItemKind::kSeries && path_number(item.path).scope == PathScope::kLocal) {
            return i;
        }
    }
    return -1;
}

}  // namespace

void write_parts(const std::vector<Ref<ManagedObject>>& parts) {
    assert(!parts.empty());
    const RecordBlock* record_block = block_of(parts.front()->type(), true);
    const RecordBlock* block = block_of_object_type(property_int(*parts.front(), "ObjectType"));
    const Ref<ManagedObject> object = property_object(*parts.front(), "ObjectData");
    if (record_block == nullptr || block == nullptr || !object) {
        return;
    }
    const int32_t item = part_item(*record_block);
    FileBytes before;
    std::vector<size_t> sizes;
    for (const Ref<ManagedObject>& part : parts) {
        const Kept* kept = cast_object<MetafileObject>(*part).find_kept(item, KeptAs::kField);
        sizes.push_back(kept != nullptr ? kept->bytes.size() : 0);
        if (kept != nullptr) {
            before.insert(before.end(), kept->bytes.begin(), kept->bytes.end());
        }
    }
    FileBytes now = write_object(*block, *object);
    if (!before.empty() && write_object(*block, *read_object(*block, before)) == now) {
        return;
    }
    now.resize((now.size() + 3) / 4 * 4);
    size_t at = 0;
    for (size_t i = 0; i < parts.size(); ++i) {
        const bool last = i + 1 == parts.size();
        const size_t size = last ? now.size() - at : std::min(sizes[i], now.size() - at);
        auto& part = cast_object<MetafileObject>(*parts[i]);
        const auto* from = now.data() + at;
        part.keep(item, KeptAs::kField, {from, from + size});
        if (!last) {
            set_property(part, "TotalObjectSize", static_cast<int64_t>(now.size()));
        }
        at += size;
    }
}

const RecordBlock* block_of(const TypeInfo& type, bool record) {
    static const auto& all = *new std::unordered_map<std::string_view, const RecordBlock*>([] {
        std::unordered_map<std::string_view, const RecordBlock*> found;
        for (const RecordBlock& block : record_blocks()) {
            found.try_emplace(block.type, &block);
        }
        return found;
    }());
    for (const TypeInfo* each = &type; each != nullptr; each = base_of(*each)) {
        const auto found = all.find(each->full_name);
        if (found != all.end() && (found->second->kind != BlockKind::kObject) == record) {
            return found->second;
        }
    }
    return nullptr;
}

namespace {

Ref<ManagedObject> read_as(const RecordBlock& block, FileView bytes, int64_t number, bool continues,
                           ContinuedObject& continued) {
    Ref<ManagedObject> object = make_instance(block.type);
    auto* keeper = dynamic_cast<MetafileObject*>(object.get());
    assert(keeper != nullptr);
    keeper->number = number;
    keeper->continues = continues;
    Walk walk(bytes, &continued);
    walk.record(block, *object);
    return object;
}

const RecordBlock& block_for(RecordFamily family, FileView bytes, int64_t number) {
    const Numbered* entry = find_numbered(family, number);
    if (entry == nullptr) {
        return raw_block(family);
    }
    for (const RecordBlock* block : entry->blocks) {
        if (block->condition < 0 || Walk(bytes, nullptr).holds(*block)) {
            return *block;
        }
    }
    return raw_block(family);
}

}  // namespace

Ref<ManagedObject> read_record(RecordFamily family, FileView bytes, ContinuedObject& continued) {
    if (bytes.size() < frame_size(family)) {
        throw MetafileError("a record of " + std::to_string(bytes.size()) + " bytes is too short");
    }
    const int64_t number = number_in(family, bytes);
    const bool plus = family == RecordFamily::kEmfPlus;
    const bool later = plus && is_later_part(continued, bytes);
    if (plus && !later) {
        continued = {};
    }
    const RecordBlock& block = block_for(family, bytes, number);
    Ref<ManagedObject> object = read_as(block, bytes, number, later, continued);
    const FileBytes again = canonical(block, *object);
    if (!std::equal(bytes.begin(), bytes.end(), again.begin(), again.end())) {
        static_cast<MetafileObject&>(*object).source.assign(bytes.begin(), bytes.end());
    }
    if (plus && number == kPlusObject && (later || (read_number(bytes.subspan(2, 2)) & kContinuedFlag) != 0)) {
        add_part(continued, object, bytes);
    }
    return object;
}

FileBytes write_record(const ManagedObject& record) {
    const RecordBlock* block = block_of(record.type(), true);
    const auto* keeper = dynamic_cast<const MetafileObject*>(&record);
    if (block == nullptr || keeper == nullptr) {
        throw MetafileError(std::string("an object of the class ") + record.type().full_name + " is no record");
    }
    FileBytes now = canonical(*block, record);
    if (keeper->source.empty()) {
        return now;
    }
    // Where the file is unusual, only the values that changed are written into it, if all keep their lengths.
    ContinuedObject none;
    const FileView source = keeper->source;
    Walk walk(source, &none);
    Ref<ManagedObject> before = make_instance(block->type);
    auto& before_keeper = static_cast<MetafileObject&>(*before);
    before_keeper.number = keeper->number;
    before_keeper.continues = keeper->continues;
    walk.record(*block, *before);
    std::vector<Walk::Chunk> old_chunks, new_chunks;
    const FileBytes old = canonical(*block, *before, &old_chunks);
    if (old == now) {
        return keeper->source;
    }
    now = canonical(*block, record, &new_chunks);
    const auto& places = walk.chunks();
    const auto same_size = [](const Walk::Chunk& a, const Walk::Chunk& b) { return a.size == b.size; };
    if (!std::equal(places.begin(), places.end(), new_chunks.begin(), new_chunks.end(), same_size) ||
        !std::equal(old_chunks.begin(), old_chunks.end(), new_chunks.begin(), new_chunks.end(), same_size)) {
        return now;
    }
    FileBytes patched = keeper->source;
    for (size_t i = 0; i < places.size(); ++i) {
        const auto* from = now.data() + new_chunks[i].begin;
        if (!std::equal(from, from + new_chunks[i].size, old.data() + old_chunks[i].begin)) {
            std::copy(from, from + new_chunks[i].size, patched.data() + places[i].begin);
        }
    }
    return patched;
}

}  // namespace zelmor::embed::metafile
