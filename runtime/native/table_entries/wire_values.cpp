// Wire types and stored values.
#include "runtime/native/table_entries/wire_values.h"

#include <bit>
#include <cstring>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

// How the number types of the wire are called.
template <class T>
constexpr const char* number_name() {
    if constexpr (std::is_same_v<T, bool>) {
        return "System.Boolean";
    }
    if constexpr (std::is_same_v<T, float>) {
        return "System.Single";
    }
    if constexpr (std::is_same_v<T, double>) {
        return "System.Double";
    }
    constexpr const char* kSigned[] = {"System.SByte", "System.Int16", "System.Int32", "System.Int64"};
    constexpr const char* kUnsigned[] = {"System.Byte", "System.UInt16", "System.UInt32", "System.UInt64"};
    return (std::is_signed_v<T> ? kSigned : kUnsigned)[std::bit_width(sizeof(T)) - 1];
}

template <class T>
int64_t integer_of(const Value& value) {
    if (const auto* x = std::get_if<int64_t>(&value); x != nullptr) {
        return *x;
    }
    if (const auto* x = std::get_if<uint64_t>(&value); x != nullptr) {
        return static_cast<int64_t>(*x);
    }
    if (const auto* x = std::get_if<bool>(&value); x != nullptr) {
        return *x ? 1 : 0;
    }
    if (const auto* x = std::get_if<double>(&value); x != nullptr) {
        return static_cast<int64_t>(*x);
    }
    if (is_null(value)) {
        return 0;
    }
    throw_invalid_value_cast(value, number_name<T>());
}

template <class T>
T number_of(const Value& value) {
    if (const auto* x = std::get_if<double>(&value); x != nullptr) {
        return static_cast<T>(*x);
    }
    return static_cast<T>(integer_of<T>(value));
}

Ref<ManagedObject> object_in(const Value& value) {
    if (const auto* x = std::get_if<Ref<ManagedObject>>(&value); x != nullptr) {
        return *x;
    }
    if (is_unset(value)) {
        return {};
    }
    throw_invalid_value_cast(value, "System.Object");
}

Ref<ManagedObject> checked(Ref<ManagedObject> object, const TypeInfo* declared) {
    if (object && declared != nullptr && !is_assignable(*declared, object->type())) {
        throw_invalid_cast(object->type().full_name, declared->full_name);
    }
    return object;
}

// A value that crosses as it is stored. What the caller's pointer leads to need not be aligned for more than a byte.
template <SystemValue T>
T read_words(CallFrame& frame, size_t index) {
    T value;
    std::memcpy(&value, frame.argument<const void*>(index), sizeof value);
    return value;
}

// The stored value; zero where nothing is stored.
template <SystemValue T>
T system_value(const Value& value) {
    if (const auto* x = std::get_if<T>(&value); x != nullptr) {
        return *x;
    }
    if (is_null(value)) {
        return {};
    }
    throw_invalid_value_cast(value, type_name_of_value(T()));
}

// A moment on the clock of another zone shows as a local time that has the offset of that zone.
DateTimeValue date_time_in(const Value& value) {
    constexpr uint64_t kLocal = uint64_t{2} << 62;
    if (const auto* moment = std::get_if<DateTimeOffsetValue>(&value); moment != nullptr) {
        return {static_cast<uint64_t>(moment->ticks) | kLocal, moment->offset};
    }
    return system_value<DateTimeValue>(value);
}

void write_ticks(const DateTimeValue& moment, int64_t* words) {
    words[0] = static_cast<int64_t>(moment.word);
    words[1] = moment.offset;
}

template <class T>
void set_integer(CallFrame& frame, const Value& value) {
    frame.set_result(static_cast<T>(integer_of<T>(value)));
}

}  // namespace

Value read_wire(CallFrame& frame, size_t index, Wire wire, const TypeInfo* type) {
    const auto variant = [&] { return frame.argument<const VariantArg*>(index); };
    switch (wire) {
        case Wire::kVoid:
            return {};
        case Wire::kBool:
            return frame.argument<uint8_t>(index) != 0;
        case Wire::kInt8:
            return int64_t{frame.argument<int8_t>(index)};
        case Wire::kUInt8:
            return int64_t{frame.argument<uint8_t>(index)};
        case Wire::kInt16:
            return int64_t{frame.argument<int16_t>(index)};
        case Wire::kUInt16:
        case Wire::kChar:
            return int64_t{frame.argument<uint16_t>(index)};
        case Wire::kInt32:
            return int64_t{frame.argument<int32_t>(index)};
        case Wire::kUInt32:
            return int64_t{frame.argument<uint32_t>(index)};
        case Wire::kInt64:
            return frame.argument<int64_t>(index);
        case Wire::kUInt64:
            return unsigned_value(frame.argument<uint64_t>(index));
        case Wire::kSingle:
            return double{frame.argument<float>(index)};
        case Wire::kDouble:
            return frame.argument<double>(index);
        case Wire::kDateTime:
            return DateTimeValue{frame.argument<uint64_t>(index), 0};
        case Wire::kNullableDateTime:
            if (frame.argument<int32_t>(index) == 0) {
                return Ref<ManagedObject>();
            }
            return DateTimeValue{frame.argument<uint64_t>(index + 1), 0};
        case Wire::kDateTimeOffset: {
            const auto* words = frame.argument<const int64_t*>(index);
            return DateTimeOffsetValue{words[0], words[1]};
        }
        case Wire::kTimeSpan:
            return TimeSpanValue{frame.argument<int64_t>(index)};
        case Wire::kDecimal:
            return read_words<DecimalValue>(frame, index);
        case Wire::kGuid:
            return read_words<GuidValue>(frame, index);
        case Wire::kString: {
            auto text = read_string(*frame.argument<const PyStringArg*>(index));
            if (!text) {
                return Ref<ManagedObject>();
            }
            return std::move(*text);
        }
        case Wire::kBytes: {
            const auto& bytes = *frame.argument<const PyBytesArg*>(index);
            if (bytes.length < 0) {
                return Ref<ManagedObject>();
            }
            const auto* data = static_cast<const std::byte*>(bytes.data);
            return Bytes(data, data + bytes.length);
        }
        case Wire::kObject:
            return read_variant(variant());
        case Wire::kClass:
            return checked(Ref<ManagedObject>(object_of(frame.argument<Handle>(index))), type);
        case Wire::kStruct: {
            const auto object = checked(read_object(variant()), type);
            if (!object) {
                throw_null_reference(std::string("None cannot become a value of ") +
                                     (type != nullptr ? type->full_name : "a value type"));
            }
            return object->copy();
        }
        case Wire::kInterface:
            return checked(read_object(variant()), type);
        case Wire::kStream:
            return Ref<ManagedObject>(read_stream_or_null(variant()));
        case Wire::kCollection:
        case Wire::kRecord:
            break;
    }
    throw_not_supported("An argument of this kind of a member without behavior");
}

Value read_wire(CallFrame& frame, size_t index, Wire wire, const TypeInfo* type, const CollectionInfo& collection) {
    if (wire != Wire::kCollection) {
        return read_wire(frame, index, wire, type);
    }
    return read_collection(frame.argument<const VariantArg*>(index), collection.shape, element_of(collection));
}

void write_wire(CallFrame& frame, const Value& value, Wire wire, const TypeInfo*) {
    const auto last = [&]<class T>(T*) { return frame.argument<T*>(frame.count() - 1); };
    switch (wire) {
        case Wire::kVoid:
            return;
        case Wire::kBool:
            return frame.set_result<uint8_t>(integer_of<bool>(value) != 0 ? 1 : 0);
        case Wire::kInt8:
            return set_integer<int8_t>(frame, value);
        case Wire::kUInt8:
            return set_integer<uint8_t>(frame, value);
        case Wire::kInt16:
            return set_integer<int16_t>(frame, value);
        case Wire::kUInt16:
        case Wire::kChar:
            return set_integer<uint16_t>(frame, value);
        case Wire::kInt32:
            return set_integer<int32_t>(frame, value);
        case Wire::kUInt32:
            return set_integer<uint32_t>(frame, value);
        case Wire::kInt64:
            return set_integer<int64_t>(frame, value);
        case Wire::kUInt64:
            return set_integer<uint64_t>(frame, value);
        case Wire::kSingle:
            return frame.set_result(number_of<float>(value));
        case Wire::kDouble:
            return frame.set_result(number_of<double>(value));
        case Wire::kDateTime:
            return write_ticks(date_time_in(value), last(static_cast<int64_t*>(nullptr)));
        case Wire::kNullableDateTime: {
            const bool present = !is_null(value);
            *frame.argument<int32_t*>(frame.count() - 2) = present ? 1 : 0;
            if (present) {
                write_ticks(date_time_in(value), last(static_cast<int64_t*>(nullptr)));
            }
            return;
        }
        case Wire::kDateTimeOffset: {
            const auto moment = system_value<DateTimeOffsetValue>(value);
            auto* words = last(static_cast<int64_t*>(nullptr));
            words[0] = moment.ticks;
            words[1] = moment.offset;
            return;
        }
        case Wire::kTimeSpan:
            return frame.set_result(system_value<TimeSpanValue>(value).ticks);
        case Wire::kDecimal:
            *last(static_cast<DecimalValue*>(nullptr)) = system_value<DecimalValue>(value);
            return;
        case Wire::kGuid:
            *last(static_cast<GuidValue*>(nullptr)) = system_value<GuidValue>(value);
            return;
        case Wire::kString:
        case Wire::kBytes:
        case Wire::kObject:
            return frame.set_result(write_value(value));
        case Wire::kClass:
            return frame.set_result(make_handle(object_in(value)));
        case Wire::kStruct: {
            const auto object = object_in(value);
            return frame.set_result(make_handle(object ? object->copy() : object));
        }
        case Wire::kInterface:
            return write_interface(object_in(value), last(static_cast<PyObjectOutArg*>(nullptr)));
        case Wire::kStream: {
            const auto object = object_in(value);
            const auto stream = object ? Ref<ManagedStream>(&cast_object<ManagedStream>(*object)) : nullptr;
            return write_stream(stream, last(static_cast<PyCollectionArg*>(nullptr)));
        }
        case Wire::kCollection:
            return write_collection(value, last(static_cast<PyCollectionArg*>(nullptr)));
        case Wire::kRecord:
            throw_not_supported("A result of this kind of a member without behavior");
    }
}

}  // namespace zelmor::embed
