// What crosses between Python and the runtime: values through each callback, and the words of each failure.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <new>
#include <stdexcept>

#include "exchange/wire/tags.h"
#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/boundary.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/values.h"
#include "runtime/native/delegates/wire_call.h"

namespace zelmor::embed {
namespace {

using test::Owned;

class CrossingsTest : public test::RuntimeTest {
 protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        m_before = callbacks_of(Assembly::kImaging);
        m_tables = *m_before.tables;
        m_read = *m_tables.read;
        m_write = *m_tables.write;
        m_tables.read = &m_read;
        m_tables.write = &m_write;
        callbacks_of(Assembly::kImaging).tables = &m_tables;
    }
    void TearDown() override {
        callbacks_of(Assembly::kImaging) = m_before;
        RuntimeTest::TearDown();
    }
    static std::string refusal(const std::function<void()>& action) {
        try {
            action();
        } catch (const ManagedException& e) {
            return e.name() + ": " + e.detail();
        }
        return "";
    }
    static Value read(int tag) {
        const VariantArg arg{tag, nullptr};
        return read_variant(&arg);
    }

    PyReadCallbacks m_read{};  // for a test to replace
    PyWriteCallbacks m_write{};

 private:
    Callbacks m_before;
    PyStaticCallbacks m_tables{};
};

TEST_F(CrossingsTest, AFailedReaderIsNamed) {
    m_read = {[](PyObject*, PyStringArg*) { return 0; },  [](PyObject*) { return false; },
              [](PyObject*, void*) { return 0; },         [](PyObject*, double*) { return 0; },
              [](PyObject*, unsigned int*) { return 0; }, [](PyObject*, unsigned int*) { return 0; },
              [](PyObject*, long*) { return 0; },         [](PyObject*, long*) { return 3; },
              [](PyObject*, long*) { return -1; },        [](PyObject*, long*) { return 0; },
              [](PyObject*, unsigned char*) { return 0; }};
    const std::pair<VariantTag, const char*> cases[] = {
        {kVariantString, "Reading a str"},           {kVariantInt, "Reading an int"},
        {kVariantFloat, "Reading a float"},          {kVariantDecimal, "Reading a decimal"},
        {kVariantDecimalTuple, "Reading a decimal"}, {kVariantDateTime, "Reading a date or time"},
        {kVariantDate, "Reading a date or time"},    {kVariantTime, "Reading a date or time"},
        {kVariantTimeDelta, "Reading a timedelta"},  {kVariantUuid, "Reading a UUID"},
    };
    for (const auto& [tag, doing] : cases) {
        EXPECT_EQ(refusal([tag = tag] { read(tag); }),
                  std::string("PythonException: ") + doing + " failed in Python without a message.");
    }
    for (const int tag : {-1, 17, 99}) {
        EXPECT_EQ(refusal([&] { read(tag); }),
                  "ArgumentException: The value has the unknown variant tag " + std::to_string(tag) + ".");
    }
}

TEST_F(CrossingsTest, EachTagHasItsReader) {
    m_read.string = [](PyObject*, PyStringArg* out) {
        *out = {-1, 0, nullptr};
        return 1;
    };
    m_read.decimal = [](PyObject*, unsigned int* words) {
        std::copy_n(std::begin({1U, 2U, 3U, 4U}), 4, words);
        return 1;
    };
    m_read.decimal_tuple = [](PyObject*, unsigned int* words) {
        std::copy_n(std::begin({5U, 6U, 7U, 8U}), 4, words);
        return 1;
    };
    m_read.vers_datetime = [](PyObject*, long* words) {
        words[0] = 10;
        return 1;
    };
    m_read.vers_date = [](PyObject*, long* words) {
        words[0] = 11;
        words[1] = 12;
        return 2;
    };
    m_read.vers_time = [](PyObject*, long* words) {
        words[0] = 13;
        words[1] = 14;
        return 1;
    };
    m_read.datetimedelta = [](PyObject*, long* words) {
        words[0] = -15;
        return 1;
    };
    m_read.guid = [](PyObject*, unsigned char* bytes) {
        for (unsigned char i = 0; i < 16; i++) {
            bytes[i] = i;
        }
        return 1;
    };
    EXPECT_TRUE(std::holds_alternative<Ref<ManagedObject>>(read(kVariantString)));
    EXPECT_EQ(std::get<DecimalValue>(read(kVariantDecimal)).words, (std::array<uint32_t, 4>{1, 2, 3, 4}));
    EXPECT_EQ(std::get<DecimalValue>(read(kVariantDecimalTuple)).words, (std::array<uint32_t, 4>{5, 6, 7, 8}));
    const auto moment = std::get<DateTimeValue>(read(kVariantDateTime));
    EXPECT_EQ(std::pair(moment.word, moment.offset), std::pair(uint64_t{10}, int64_t{0}));
    const auto with_offset = std::get<DateTimeOffsetValue>(read(kVariantDate));
    EXPECT_EQ(std::pair(with_offset.ticks, with_offset.offset), std::pair(int64_t{11}, int64_t{12}));
    const auto time = std::get<DateTimeValue>(read(kVariantTime));
    EXPECT_EQ(std::pair(time.word, time.offset), std::pair(uint64_t{13}, int64_t{14}));
    EXPECT_EQ(std::get<TimeSpanValue>(read(kVariantTimeDelta)).ticks, -15);
    EXPECT_EQ(std::get<GuidValue>(read(kVariantUuid)).bytes,
              (std::array<uint8_t, 16>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    // The width that the reader answers, and what it wrote.
    static int width = 0;
    m_read.vers_long = [](PyObject*, void* out) {
        *static_cast<uint64_t*>(out) = 0xFFFFFFFF'80000005;
        return width;
    };
    width = kInteger32;
    EXPECT_EQ(std::get<int64_t>(read(kVariantInt)), int64_t{INT32_MIN} + 5);
    width = kInteger64;
    EXPECT_EQ(std::get<int64_t>(read(kVariantInt)), int64_t{INT32_MIN} + 5);
    width = kIntegerUnsigned64;
    EXPECT_EQ(std::get<uint64_t>(read(kVariantInt)), 0xFFFFFFFF'80000005);
    EXPECT_EQ(std::get<int64_t>(unsigned_value(INT64_MAX)), INT64_MAX);
    EXPECT_EQ(std::get<uint64_t>(unsigned_value(uint64_t{1} << 63)), uint64_t{1} << 63);
}

TEST_F(CrossingsTest, EachValueHasItsWriter) {
    // A writer says by a text which one it is.
    m_write.boolean = [](int value) { return test::new_text(value != 0 ? u"true" : u"false"); };
    m_write.int32 = [](int) { return test::new_text(u"int32"); };
    m_write.int64 = [](long) { return test::new_text(u"int64"); };
    m_write.uint64 = [](unsigned long) { return test::new_text(u"uint64"); };
    m_write.float64 = [](double) { return test::new_text(u"double"); };
    m_write.decimal = [](unsigned int* words) { return test::new_text(words[1] == 2 ? u"decimal" : u"?"); };
    m_write.date_time = [](const long* words) {
        return test::new_text(words[0] == 3 && words[1] == 4 ? u"moment" : u"?");
    };
    m_write.date_time_offset = [](const long* words) {
        return test::new_text(words[0] == 5 && words[1] == 6 ? u"offset" : u"?");
    };
    m_write.datetimedelta = [](long ticks) { return test::new_text(ticks == 7 ? u"span" : u"?"); };
    m_write.guid = [](const void* bytes) {
        return test::new_text(static_cast<const uint8_t*>(bytes)[15] == 8 ? u"guid" : u"?");
    };
    GuidValue guid;
    guid.bytes[15] = 8;
    const std::pair<Value, const char16_t*> cases[] = {
        {true, u"true"},
        {false, u"false"},
        {int64_t{INT32_MAX}, u"int32"},
        {int64_t{INT32_MIN}, u"int32"},
        {int64_t{INT32_MAX} + 1, u"int64"},
        {int64_t{INT32_MIN} - 1, u"int64"},
        {uint64_t{5}, u"uint64"},
        {2.5, u"double"},
        {DecimalValue{{1, 2, 3, 4}}, u"decimal"},
        {DateTimeValue{3, 4}, u"moment"},
        {DateTimeOffsetValue{5, 6}, u"offset"},
        {TimeSpanValue{7}, u"span"},
        {guid, u"guid"},
        {std::u16string(u"text"), u"text"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(test::text_of_object(write_value(value)), text);
    }
    m_write.decimal = [](unsigned int*) -> PyObject* { return nullptr; };
    m_write.date_time = m_write.date_time_offset = [](const long*) -> PyObject* { return nullptr; };
    m_write.datetimedelta = [](long) -> PyObject* { return nullptr; };
    m_write.guid = [](const void*) -> PyObject* { return nullptr; };
    for (const Value& value : {Value(DecimalValue{}), Value(DateTimeValue{}), Value(DateTimeOffsetValue{}),
                               Value(TimeSpanValue{}), Value(guid)}) {
        EXPECT_THROW(write_value(value), PythonErrorPending);
    }
    for (const Value& value : {Value(), Value(Ref<ManagedObject>()), Value(PyHeld())}) {
        PyObject* none = write_value(value);
        EXPECT_TRUE(std::holds_alternative<std::monostate>(none->value));
        test::release(none);
    }
}

TEST_F(CrossingsTest, ObjectsAreShownByTheirClassOrRefused) {
    EXPECT_EQ(refusal([] { py_object(make_memory_stream()); }),
              "NotSupportedException: Showing a System.IO.MemoryStream in Python is not supported by the embedded "
              "runtime.");
    const Ref<ManagedObject> size = box(SizeValue{1, 2}), object = make_instance("Zelmor.Imaging.LoadOptions");
    PyObject* shown = py_object(size);
    EXPECT_NE(object_of(shown->handle), size.get());
    EXPECT_TRUE(object_of(shown->handle)->equals(*size));
    EXPECT_EQ(shown->type_id, type_id(size->type()));
    test::release(shown);
    shown = py_object(object);
    EXPECT_EQ(object_of(shown->handle), object.get());
    test::release(shown);

    PyCollectionArg out{};
    write_collection(size, &out);
    EXPECT_EQ(out.kind, kCollectionStruct);
    EXPECT_EQ(out.type_id, type_id(size->type()));
    EXPECT_NE(object_of(out.value), size.get());
    free_handle(out.value);
    write_collection(object, &out);
    EXPECT_EQ(out.kind, kCollectionObject);
    EXPECT_EQ(object_of(out.value), object.get());
    free_handle(out.value);
    for (const Value& null : {Value(), Value(Ref<ManagedObject>())}) {
        write_collection(null, &out);
        EXPECT_EQ(out.kind, 0);
        EXPECT_EQ(out.value, nullptr);
        EXPECT_EQ(out.type_id, 0);
    }
    PyObject* python = test::new_object();
    {
        const Value held = PyHeld::borrow(python);
        write_collection(held, &out);
        EXPECT_EQ(out.kind, kCollectionPyObject);
        EXPECT_EQ(out.value, python);
        EXPECT_EQ(python->count, 2);
    }
    test::release(python);
    EXPECT_EQ(refusal([&] { write_collection(std::u16string(u"x"), &out); }),
              "InvalidCastException: Unable to cast object of type 'System.String' to type "
              "'System.Collections.IEnumerable'.");
    PyObjectOutArg interface {};
    write_interface(object, &interface);
    EXPECT_EQ(interface.type_id, type_id(object->type()));
    free_handle(interface.handle);
    write_interface(nullptr, &interface);
    EXPECT_EQ(interface.type_id, 0);
    EXPECT_EQ(interface.handle, nullptr);
}

TEST_F(CrossingsTest, ArgumentsOfAnotherKindAreRefused) {
    const TypeInfo& options = require_type("Zelmor.Imaging.LoadOptions");
    const Owned size(make_struct_handle(SizeValue{})), object(make_handle(make_instance(options)));
    const VariantArg none{}, a_struct = size.struct_arg(), an_object = object.object_arg();
    const std::string cast = "InvalidCastException: Unable to cast object of type ";
    EXPECT_FALSE(read_object(&none) || read_object(&none, options));
    EXPECT_EQ(read_object(&a_struct).get(), object_of(size.get()));
    EXPECT_EQ(read_object(&an_object, options).get(), object_of(object.get()));
    EXPECT_EQ(refusal([&] { read_object(&a_struct, options); }),
              cast + "'Zelmor.Imaging.Size' to type 'Zelmor.Imaging.LoadOptions'.");
    for (const int tag : {2, 3}) {
        const VariantArg python{tag, nullptr};
        EXPECT_EQ(refusal([&] { read_object(&python); }), cast + "'a Python object' to type 'a managed object'.");
        EXPECT_EQ(refusal([&] { read_object(&python, options); }),
                  cast + "'a Python object' to type 'Zelmor.Imaging.LoadOptions'.");
    }
    const VariantArg odd{7, nullptr};
    EXPECT_EQ(refusal([&] { read_stream(&odd); }), cast + "'a value with tag 7' to type 'System.IO.Stream'.");
    EXPECT_EQ(refusal([&] { read_stream(&an_object); }),
              cast + "'Zelmor.Imaging.LoadOptions' to type 'System.IO.Stream'.");
    EXPECT_EQ(refusal([&] { read_stream(&none, "output"); }),
              "ArgumentNullException: Value cannot be null. (Parameter 'output')");
    EXPECT_EQ(refusal([&] { target<ManagedList>(object.get()); }),
              cast + "'Zelmor.Imaging.LoadOptions' to type 'System.Collections.IList'.");
    EXPECT_EQ(refusal([&] { target<EnumObject>(object.get()); }),
              cast + "'Zelmor.Imaging.LoadOptions' to type 'System.Enum'.");
    EXPECT_EQ(refusal([&] { target<Record>(size.get()); }),
              cast + "'Zelmor.Imaging.Size' to type 'the expected type'.");
    EXPECT_EQ(refusal([] { require_object(nullptr); }),
              "NullReferenceException: Object reference not set to an instance of an object.");
}

TEST_F(CrossingsTest, EveryFailureHasAManagedName) {
    const auto reported = [](const std::function<void()>& raise) {
        const AssemblyScope scope(Assembly::kImaging);
        try {
            raise();
        } catch (...) {
            report_current_exception();
        }
        const auto raised = test::take_raised();
        return raised.name + ": " + raised.detail;
    };
    EXPECT_EQ(reported([] { throw ManagedException("MadeUpException", "\xE2\x82\xAC"); }),
              "MadeUpException: \xE2\x82\xAC");
    EXPECT_EQ(reported([] { throw std::bad_alloc(); }),
              "OutOfMemoryException: There is not enough memory for the operation.");
    EXPECT_EQ(reported([] { throw std::length_error("too long"); }), "OutOfMemoryException: too long");
    EXPECT_EQ(reported([] { throw std::filesystem::filesystem_error("busy", std::error_code()); }).substr(0, 13),
              "IOException: ");
    EXPECT_EQ(reported([] { throw std::out_of_range("far"); }), "IndexOutOfRangeException: far");
    EXPECT_EQ(reported([] { throw std::invalid_argument("odd"); }), "ArgumentException: odd");
    EXPECT_EQ(reported([] { throw std::runtime_error("bad"); }), "SystemException: bad");
    EXPECT_EQ(reported([] { throw 5; }),
              "SystemException: A failure of unknown kind was raised in the embedded runtime.");
    // Nobody is told before there is a callback, and a text that cannot be built is none.
    Callbacks& imaging = callbacks_of(Assembly::kImaging);
    imaging.py_unraisable_string = nullptr;
    EXPECT_EQ(reported([] { throw_argument("x"); }), "<null>: <null>");
    imaging.exception = nullptr;
    try {
        throw_argument("x");
    } catch (...) {
        report_current_exception();
    }
    EXPECT_FALSE(test::raised().has_value());
}

TEST_F(CrossingsTest, ACallbackThatIsMissingIsNamed) {
    const auto missing = [](const std::string& name) {
        return "InvalidOperationException: The callback '" + name + "' was not handed over.";
    };
    Callbacks& imaging = callbacks_of(Assembly::kImaging);
    const Callbacks before = imaging;
    imaging.tables = nullptr;
    EXPECT_EQ(refusal([] { tables(); }), missing("static tables"));
    imaging.objects = nullptr;
    EXPECT_EQ(refusal([] { py_none(); }), missing("object table"));
    imaging.py_string = nullptr;
    EXPECT_EQ(refusal([] { py_string(u"x"); }), missing("string builder"));
    imaging.py_bytes = nullptr;
    EXPECT_EQ(refusal([] { py_bytes({}); }), missing("bytes builder"));
    imaging = before;
    const char* names[] = {"WrpInterop.Zelmor.PyGc", "WrpInterop.Zelmor.PyCore",    "WrpInterop.Zelmor.PyReflection",
                           "WrpInterop.Zelmor.PyIo", "WrpInterop.Zelmor.PyDrawing", "WrpInterop.Zelmor.Imaging"};
    for (int i = 0; i < kAssemblyCount; i++) {
        EXPECT_STREQ(assembly_name(static_cast<Assembly>(i)), names[i]);
        EXPECT_EQ(find_assembly(names[i]), static_cast<Assembly>(i));
    }
    EXPECT_EQ(find_assembly("WrpInterop.Zelmor"), std::nullopt);
}

TEST_F(CrossingsTest, ErrorsOfPythonLoseTheirLastLineEnds) {
    EXPECT_EQ(take_python_error(), std::nullopt);
    const auto told = [](const char* text, const std::function<void()>& action) {
        test::fail_next_callback(text);
        EXPECT_THROW(py_string(u"x"), PythonErrorPending);
        return refusal(action);
    };
    EXPECT_EQ(told("ValueError: a\nb\n\n", [] { throw_python_error("Trying"); }),
              "PythonException: Trying failed in Python: ValueError: a\nb");
    EXPECT_EQ(told("\n", [] { throw_python_error("Trying", "OtherException"); }),
              "OtherException: Trying failed in Python: ");
    EXPECT_EQ(told("broken", [] { throw_if_python_failed("Trying"); }),
              "PythonException: Trying failed in Python: broken");
    EXPECT_EQ(refusal([] { throw_if_python_failed("Trying"); }), "");
}

TEST_F(CrossingsTest, AStreamInMemorySaysWhatIsWrong) {
    const auto stream = make_memory_stream(std::vector<std::byte>(5));
    const auto outside = [](const std::string& offset) {
        return "IOException: An attempt was made to move the position before the beginning of the stream (offset " +
               offset + ").";
    };
    EXPECT_EQ(stream->seek(3, api::SeekOrigin::kBegin), 3);
    EXPECT_EQ(stream->seek(-2, api::SeekOrigin::kCurrent), 1);
    EXPECT_EQ(stream->seek(-5, api::SeekOrigin::kEnd), 0);
    EXPECT_EQ(refusal([&] { stream->seek(-1, api::SeekOrigin::kCurrent); }), outside("-1"));
    EXPECT_EQ(refusal([&] { stream->seek(-6, api::SeekOrigin::kEnd); }), outside("-6"));
    EXPECT_EQ(refusal([&] { stream->seek(INT64_MAX, api::SeekOrigin::kEnd); }), outside("9223372036854775807"));
    EXPECT_EQ(stream->position(), 0);
    EXPECT_EQ(refusal([&] { stream->set_length(-1); }),
              "ArgumentOutOfRangeException: The length -1 is negative. (Parameter 'value')");
    stream->set_position(4);
    std::byte data[8];
    EXPECT_EQ(refusal([&] { stream->read_exactly(data); }),
              "EndOfStreamException: The stream ended 7 bytes before the end of the data.");
    stream->set_position(4);
    stream->set_length(4);
    EXPECT_EQ(stream->position(), 4);
    stream->set_length(2);
    EXPECT_EQ(stream->position(), 2);
    stream->set_length(9);
    EXPECT_EQ(stream->position(), 2);
    EXPECT_EQ(stream->length(), 9);
    EXPECT_EQ(stream->read_byte(), 0);
    stream->set_position(9);
    EXPECT_EQ(stream->read_byte(), -1);
    stream->write_byte(0xAB);
    EXPECT_EQ(stream->length(), 10);
    stream->set_position(9);
    EXPECT_EQ(stream->read_byte(), 0xAB);
    for (int origin = 0; origin < 3; origin++) {
        EXPECT_EQ(refusal([&] { require_known(static_cast<api::SeekOrigin>(origin)); }), "");
    }
    for (const int origin : {-1, 3}) {
        EXPECT_EQ(refusal([&] { require_known(static_cast<api::SeekOrigin>(origin)); }),
                  "ArgumentException: The seek origin " + std::to_string(origin) + " is none of 0, 1, 2.");
    }
    EXPECT_EQ(stream->descriptor(), -1);
    EXPECT_EQ(stream->python_file(), nullptr);
    EXPECT_EQ(refusal([&] { stream->copy(); }),
              "NotSupportedException: Copying a System.IO.MemoryStream is not supported by the embedded runtime.");
    stream->close();
    EXPECT_EQ(refusal([&] { stream->position(); }),
              "ObjectDisposedException: Cannot access a disposed object. Object name: 'System.IO.MemoryStream'.");
}

TEST_F(CrossingsTest, ArgumentsHaveTheWidthOfTheirCode) {
    for (const auto& [codes, width] : {std::pair{"bCc", 1}, {"sS", 2}, {"ifI", 4}, {"lLdpVTBOoktDGr", 8}}) {
        for (const char code : std::string_view(codes)) {
            EXPECT_EQ(width_of_code(code), static_cast<size_t>(width)) << code;
        }
    }
    const auto word = [](const char* signature) {
        uint64_t result = 0x11223344'55667788;
        return CallFrame(signature, &result, nullptr).result_word();
    };
    EXPECT_EQ(word("v"), 0U);
    EXPECT_EQ(word("f"), 0x55667788U);
    EXPECT_EQ(word("b"), 0x88U);
    EXPECT_EQ(word("i"), 0x11223344'55667788U);
    EXPECT_EQ(CallFrame("v", nullptr, nullptr).count(), 0U);
    EXPECT_EQ(CallFrame("pii", nullptr, nullptr).count(), 2U);
}

}  // namespace
}  // namespace zelmor::embed
