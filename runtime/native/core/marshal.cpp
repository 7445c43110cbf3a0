// Reading tagged arguments and writing results.
#include "runtime/native/core/marshal.h"

#include <utility>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

Value read_python_int(PyObject* number) {
    uint64_t word = 0;
    switch (tables().read->vers_long(number, &word)) {
        case kInteger32:
            return static_cast<int64_t>(static_cast<int32_t>(word));
        case kInteger64:
            return static_cast<int64_t>(word);
        case kIntegerUnsigned64:
            return word;
        default:
            throw_python_error("Reading an int");
    }
}

Value read_python_text(PyObject* text) {
    PyStringArg view{-1, 0, nullptr};
    if (!tables().read->string(text, &view)) {
        throw_python_error("Reading a str");
    }
    auto read = read_string(view);
    if (!read) {
        return Ref<ManagedObject>();
    }
    return std::move(*read);
}

Value read_python_float(PyObject* number) {
    double value = 0;
    if (!tables().read->float64(number, &value)) {
        throw_python_error("Reading a float");
    }
    return value;
}

// What the readers of a date or time answer: which of two records they filled, or that they failed.
constexpr int kFilledDateTime = 1;
constexpr int kFilledDateTimeOffset = 2;

Value read_python_date(int (*read)(PyObject*, long*), PyObject* object) {
    long words[2] = {0, 0};  // Python has no local times, and leaves their offset as it is
    switch (read(object, words)) {
        case kFilledDateTime:
            return DateTimeValue{static_cast<uint64_t>(words[0]), words[1]};
        case kFilledDateTimeOffset:
            return DateTimeOffsetValue{words[0], words[1]};
        default:
            throw_python_error("Reading a date or time");
    }
}

Value read_python_decimal(int (*read)(PyObject*, unsigned int*), PyObject* object) {
    DecimalValue value;
    if (!read(object, value.words.data())) {
        throw_python_error("Reading a decimal");
    }
    return value;
}

Value read_python_timedelta(PyObject* object) {
    long ticks = 0;
    if (!tables().read->datetimedelta(object, &ticks)) {
        throw_python_error("Reading a timedelta");
    }
    return TimeSpanValue{ticks};
}

Value read_python_uuid(PyObject* object) {
    GuidValue value;
    if (!tables().read->guid(object, value.bytes.data())) {
        throw_python_error("Reading a UUID");
    }
    return value;
}

PyObject* written(PyObject* object) {
    if (object == nullptr) {
        throw PythonErrorPending();
    }
    return object;
}

// The memory of a buffer view, whose size and layout only Python knows.
class PythonBuffer {
 public:
    explicit PythonBuffer(PyObject* object) : m_view(tables().buffer->get_sizeof()) {
        tables().buffer->create(m_view.data());
        if (!tables().buffer->read_view(object, m_view.data(), &m_info)) {
            throw_python_error("Reading a buffer");
        }
    }
    ~PythonBuffer() {
        if (m_info.acquired) {
            tables().buffer->release(m_view.data());
        }
    }
    PythonBuffer(const PythonBuffer&) = delete;
    PythonBuffer& operator=(const PythonBuffer&) = delete;
    Bytes content() const {
        const auto* data = static_cast<const std::byte*>(m_info.data);
        return m_info.length > 0 ? Bytes(data, data + m_info.length) : Bytes();
    }

 private:
    std::vector<std::byte> m_view;
    PyBytesArg m_info{0, -1, nullptr};
};

}  // namespace

Ref<ManagedObject> read_object(const VariantArg* arg) {
    switch (arg->tag) {
        case kHandleObject:
        case kHandleStruct:
            return Ref<ManagedObject>(object_of(arg->value));
        default:
            throw_invalid_cast("a Python object", "a managed object");
    }
}

Ref<ManagedObject> read_object(const VariantArg* arg, const TypeInfo& declared) {
    if (arg->tag > kHandleStruct) {
        throw_invalid_cast("a Python object", declared.full_name);
    }
    Ref<ManagedObject> object(object_of(arg->value));
    if (object && !is_assignable(declared, object->type())) {
        throw_invalid_cast(object->type().full_name, declared.full_name);
    }
    return object;
}

Value read_variant(const VariantArg* arg) {
    auto* python = static_cast<PyObject*>(arg->value);
    switch (arg->tag) {
        case kVariantNull:
            return Ref<ManagedObject>();
        case kVariantObject:
            return Ref<ManagedObject>(&require_object(arg->value));
        case kVariantStruct:
            return require_object(arg->value).copy();
        case kVariantString:
            return read_python_text(python);
        case kVariantBuffer:
            return PythonBuffer(python).content();
        case kVariantBool:
            return tables().read->boolean(python);
        case kVariantInt:
            return read_python_int(python);
        case kVariantFloat:
            return read_python_float(python);
        case kVariantDecimal:
            return read_python_decimal(tables().read->decimal, python);
        case kVariantDecimalTuple:
            return read_python_decimal(tables().read->decimal_tuple, python);
        case kVariantDateTime:
            return read_python_date(tables().read->vers_datetime, python);
        case kVariantDate:
            return read_python_date(tables().read->vers_date, python);
        case kVariantTime:
            return read_python_date(tables().read->vers_time, python);
        case kVariantTimeDelta:
            return read_python_timedelta(python);
        case kVariantUuid:
            return read_python_uuid(python);
        case kVariantList:
        case kVariantTuple:
            return Ref<ManagedObject>(read_variant_list(arg));
        default:
            throw_argument("The value has the unknown variant tag " + std::to_string(arg->tag) + ".");
    }
}

Value unsigned_value(uint64_t number) {
    if (std::in_range<int64_t>(number)) {
        return static_cast<int64_t>(number);
    }
    return number;
}

namespace {

// The Python object that a proxy stands for, or null.
PyObject* python_object_of(const ManagedObject& object) {
    if (const auto* enumerable = dynamic_cast<const ManagedEnumerable*>(&object)) {
        return enumerable->python_object();
    }
    if (const auto* enumerator = dynamic_cast<const ManagedEnumerator*>(&object)) {
        return enumerator->python_object();
    }
    return nullptr;
}

}  // namespace

// A wrapper by the run-time type, or null where the module that is asked has no class for it.
static PyObject* wrapped(const Ref<ManagedObject>& object) {
    PyObject* wrapper = nullptr;
    const int status = tables().tpo_api->try_write_tpo(make_handle(object), type_id(object->type()), &wrapper);
    if (status < 0) {
        throw PythonErrorPending();
    }
    return status == 1 ? wrapper : nullptr;
}

PyObject* py_object(Ref<ManagedObject> object) {
    if (!object) {
        return py_none();
    }
    if (PyObject* python = python_object_of(*object)) {
        return PyHeld::borrow(python).detach();
    }
    if (auto other = object->shown_as()) {
        return py_object(std::move(other));
    }
    if (object->type().kind == TypeKind::kStruct) {
        object = object->copy();
    }
    if (PyObject* wrapper = wrapped(object)) {
        return wrapper;
    }
    // A class of another module is known to that one.
    const auto home = find_assembly(object->type().assembly);
    if (home && callbacks_of(*home).tables != nullptr && &callbacks_of(*home) != &callbacks()) {
        const AssemblyScope scope(*home);
        if (PyObject* wrapper = wrapped(object)) {
            return wrapper;
        }
    }
    // Python has no class of the run-time type: the managed side's own form of the value.
    if (auto* list = dynamic_cast<ManagedList*>(object.get())) {
        return list->write_wrapper();
    }
    if (auto* number = dynamic_cast<EnumObject*>(object.get())) {
        return py_int(number->value());
    }
    throw_not_supported(std::string("Showing a ") + object->type().full_name + " in Python");
}

PyObject* write_value(const Value& value) {
    struct Writer {
        PyObject* operator()(std::monostate) const { return py_none(); }
        PyObject* operator()(bool x) const { return py_bool(x); }
        PyObject* operator()(int64_t x) const { return py_int(x); }
        PyObject* operator()(uint64_t x) const { return py_uint(x); }
        PyObject* operator()(double x) const { return py_float(x); }
        PyObject* operator()(const std::u16string& x) const { return py_string(x); }
        PyObject* operator()(const Bytes& x) const { return py_bytes(x); }
        PyObject* operator()(const Ref<ManagedObject>& x) const { return py_object(x); }
        PyObject* operator()(const PyHeld& x) const { return x ? x.new_reference() : py_none(); }
        PyObject* operator()(DecimalValue x) const { return written(tables().write->decimal(x.words.data())); }
        PyObject* operator()(const DateTimeValue& x) const {
            const long words[2] = {static_cast<long>(x.word), x.offset};
            return written(tables().write->date_time(words));
        }
        PyObject* operator()(const DateTimeOffsetValue& x) const {
            const long words[2] = {x.ticks, x.offset};
            return written(tables().write->date_time_offset(words));
        }
        PyObject* operator()(const TimeSpanValue& x) const { return written(tables().write->datetimedelta(x.ticks)); }
        PyObject* operator()(const GuidValue& x) const { return written(tables().write->guid(x.bytes.data())); }
    };
    return std::visit(Writer(), value);
}

void write_interface(Ref<ManagedObject> object, PyObjectOutArg* out) {
    out->type_id = object ? type_id(object->type()) : 0;
    out->handle = make_handle(std::move(object));
}

void write_collection(const Value& value, PyCollectionArg* out) {
    *out = {};
    if (const auto* held = std::get_if<PyHeld>(&value)) {
        // The reader takes a reference of its own; the value keeps this one.
        out->kind = kCollectionPyObject;
        out->value = held->get();
        return;
    }
    if (is_null(value)) {
        return;
    }
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr) {
        throw_invalid_value_cast(value, "System.Collections.IEnumerable");
    }
    if (PyObject* python = python_object_of(**object)) {
        out->kind = kCollectionPyObject;
        out->value = python;
        return;
    }
    const bool is_struct = (*object)->type().kind == TypeKind::kStruct;
    out->kind = is_struct ? kCollectionStruct : kCollectionObject;
    out->type_id = type_id((*object)->type());
    out->value = make_handle(is_struct ? (*object)->copy() : *object);
}

}  // namespace zelmor::embed
