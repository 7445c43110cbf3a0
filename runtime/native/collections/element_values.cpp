// Elements on the wire.
#include "runtime/native/collections/element_values.h"

#include "runtime/native/collections/drawing_record.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/table_entries/wire_values.h"

namespace zelmor::embed {

namespace {

char scalar_code(Wire wire) {
    switch (wire) {
        case Wire::kBool:
            return 'b';
        case Wire::kInt8:
            return 'c';
        case Wire::kUInt8:
            return 'C';
        case Wire::kInt16:
            return 's';
        case Wire::kUInt16:
        case Wire::kChar:
            return 'S';
        case Wire::kInt32:
            return 'i';
        case Wire::kUInt32:
            return 'I';
        case Wire::kInt64:
            return 'l';
        case Wire::kUInt64:
            return 'L';
        case Wire::kSingle:
            return 'f';
        case Wire::kDouble:
            return 'd';
        default:
            return '\0';
    }
}

// An inner array leaves as a handle, like an object of a class.
Wire result_wire(const ElementType& element) {
    return element.wire == Wire::kCollection ? Wire::kClass : element.wire;
}

}  // namespace

char element_argument_code(const ElementType& element) {
    if (const char code = scalar_code(element.wire)) {
        return code;
    }
    switch (element.wire) {
        case Wire::kString:
            return 'T';
        case Wire::kBytes:
            return 'B';
        case Wire::kClass:
        case Wire::kRecord:
            return 'p';
        default:
            return 'V';
    }
}

char element_result_code(const ElementType& element) {
    if (const char code = scalar_code(element.wire)) {
        return code;
    }
    switch (element.wire) {
        case Wire::kString:
        case Wire::kBytes:
        case Wire::kObject:
            return 'O';
        case Wire::kInterface:
        case Wire::kRecord:
            return 'v';
        default:
            return 'p';
    }
}

char element_trailing_code(const ElementType& element) {
    switch (element.wire) {
        case Wire::kInterface:
            return 'o';
        case Wire::kRecord:
            return 'r';
        default:
            return '\0';
    }
}

Value read_element(CallFrame& frame, size_t index, const ElementType& element) {
    switch (element.wire) {
        case Wire::kCollection:
            return Ref<ManagedObject>(read_list(frame.argument<const VariantArg*>(index), *element.inner()));
        case Wire::kRecord:
            return Ref<ManagedObject>(DrawingRecord::read(frame.argument<const void*>(index), element));
        default:
            return read_wire(frame, index, element.wire, element.type());
    }
}

void store_element(const Value& value, const ElementType& element, void* out) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (element.wire == Wire::kInterface) {
        return write_interface(object != nullptr ? *object : nullptr, static_cast<PyObjectOutArg*>(out));
    }
    if (element.wire == Wire::kRecord) {
        return DrawingRecord::write(object != nullptr ? object->get() : nullptr, element, out);
    }
    // The slot has the width of a returned value, so that returning into a word and copying its low bytes fits all.
    uint64_t word = 0;
    const char signature[] = {element_result_code(element), '\0'};
    CallFrame returned(signature, &word, nullptr);
    write_wire(returned, value, result_wire(element), element.type());
    std::memcpy(out, &word, width_of_code(scalar_code(element.wire)));
}

void return_element(CallFrame& frame, const Value& value, const ElementType& element) {
    if (element_trailing_code(element) != '\0') {
        return store_element(value, element, frame.argument<void*>(frame.count() - 1));
    }
    write_wire(frame, value, result_wire(element), element.type());
}

}  // namespace zelmor::embed
