// Members without behavior: stored properties, filled and copied objects, and what is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "fake_python.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"
#include "runtime/native/table_entries/table_entry.h"
#include "runtime/native/table_entries/wire_values.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

constexpr const char* kPng = "Zelmor.Imaging.ImageOptions.PngOptions";
constexpr const char* kBase = "Zelmor.Imaging.ImageOptionsBase";
constexpr const char* kLoad = "Zelmor.Imaging.LoadOptions";
constexpr const char* kResolution = "Zelmor.Imaging.ResolutionSetting";

class TailTest : public test::RuntimeTest {};

TEST_F(TailTest, ANewObjectHasItsDefaults) {
    Owned png(call<void*>(kPng, "ctor_000_PngOptions"));
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", png.get()), 6);
    EXPECT_EQ(call<int>(kPng, "get_BitDepth", png.get()), 8);
    EXPECT_EQ(call<bool>(kPng, "get_Progressive", png.get()), false);
    EXPECT_EQ(call<int>(kBase, "get_BufferSizeHint", png.get()), 0);
    EXPECT_EQ(call<void*>(kBase, "get_Source", png.get()), nullptr);
    EXPECT_EQ(call<int>(kPng, "getsa_DefaultCompressionLevel"), 6);
}

TEST_F(TailTest, ScalarsAreStored) {
    Owned png(call<void*>(kPng, "ctor_000_PngOptions"));
    call<void>(kPng, "set_CompressionLevel", png.get(), 9);
    call<void>(kPng, "set_Progressive", png.get(), true);
    call<void>(kBase, "set_BufferSizeHint", png.get(), INT32_MAX);
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", png.get()), 9);
    EXPECT_EQ(call<bool>(kPng, "get_Progressive", png.get()), true);
    EXPECT_EQ(call<int>(kBase, "get_BufferSizeHint", png.get()), INT32_MAX);
    // The same object read by name.
    const ManagedObject& object = require_object(png.get());
    EXPECT_EQ(property_int(object, "CompressionLevel"), 9);
    EXPECT_TRUE(property_bool(object, "Progressive"));
    EXPECT_THROW(property_int(object, "NoSuch"), ManagedException);
}

TEST_F(TailTest, AReferenceIsShared) {
    Owned png(call<void*>(kPng, "ctor_000_PngOptions"));
    Owned resolution(call<void*>(kResolution, "ctor_001_ResolutionSetting", 300.0, 150.0));
    call<void>(kBase, "set_ResolutionSettings", png.get(), resolution.get());
    Owned seen(call<void*>(kBase, "get_ResolutionSettings", png.get()));
    EXPECT_NE(seen.get(), resolution.get());
    EXPECT_EQ(object_of(seen.get()), object_of(resolution.get()));
    call<void>(kResolution, "set_HorizontalResolution", seen.get(), 72.0);
    EXPECT_EQ(call<double>(kResolution, "get_HorizontalResolution", resolution.get()), 72.0);
    call<void>(kBase, "set_ResolutionSettings", png.get(), static_cast<void*>(nullptr));
    EXPECT_EQ(call<void*>(kBase, "get_ResolutionSettings", png.get()), nullptr);
}

TEST_F(TailTest, AReferenceOfAnotherTypeIsRefused) {
    Owned png(call<void*>(kPng, "ctor_000_PngOptions"));
    Owned load(call<void*>(kLoad, "ctor_000_LoadOptions"));
    call<void>(kBase, "set_ResolutionSettings", png.get(), load.get());
    EXPECT_EQ(test::take_raised().name, "InvalidCastException");
    EXPECT_EQ(call<void*>(kBase, "get_ResolutionSettings", png.get()), nullptr);
}

TEST_F(TailTest, AStructIsCopiedBothWays) {
    Owned load(call<void*>(kLoad, "ctor_000_LoadOptions"));
    Owned color(make_struct_handle(ColorValue::from_argb(0xFF112233)));
    const VariantArg arg = color.struct_arg();
    call<void>(kLoad, "set_DataBackgroundColor", load.get(), &arg);
    struct_target<ColorValue>(color.get()).argb = 0;
    Owned seen(call<void*>(kLoad, "get_DataBackgroundColor", load.get()));
    EXPECT_EQ(struct_target<ColorValue>(seen.get()).argb, 0xFF112233u);
    struct_target<ColorValue>(seen.get()).argb = 1;
    Owned again(call<void*>(kLoad, "get_DataBackgroundColor", load.get()));
    EXPECT_EQ(struct_target<ColorValue>(again.get()).argb, 0xFF112233u);

    const VariantArg null{};
    call<void>(kLoad, "set_DataBackgroundColor", load.get(), &null);
    EXPECT_EQ(test::take_raised().name, "NullReferenceException");
}

TEST_F(TailTest, APropertyOfTypeObjectReturnsTheStoredValue) {
    constexpr const char* kReader = "Zelmor.Imaging.FileFormats.Tiff.FileManagement.TiffStreamReader";
    constexpr const char* kUnknown = "Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.TiffUnknownType";
    const PyBytesArg no_bytes{1, 0, nullptr};
    Owned reader(call<void*>(kReader, "ctor_000_TiffStreamReader", &no_bytes));
    Owned tag(call<void*>(kUnknown, "ctor_000_TiffUnknownType", reader.get(), uint16_t{99}, uint16_t{7}, uint64_t{0},
                          uint64_t{0}));
    const auto set = [&](VariantArg arg) { call<void>(kUnknown, "set_Value", tag.get(), &arg); };
    const auto get = [&] { return call<PyObject*>(kUnknown, "get_Value", tag.get()); };

    PyObject* nothing = get();
    EXPECT_TRUE(std::holds_alternative<std::monostate>(nothing->value));
    test::release(nothing);

    PyObject* number = test::new_int(1234567890123);
    set({6, number});
    test::release(number);
    PyObject* seen = get();
    EXPECT_EQ(std::get<int64_t>(seen->value), 1234567890123);
    test::release(seen);

    PyObject* text = test::new_text(u"a \u20AC");
    set({3, text});
    test::release(text);
    EXPECT_EQ(test::text_of_object(get()), u"a \u20AC");

    // A list is copied and comes back as a managed collection.
    PyObject* list = test::new_list({test::new_int(5)});
    set({15, list});
    EXPECT_EQ(list->count, 1);
    test::release(list);
    seen = get();
    EXPECT_EQ(target<ManagedList>(seen->handle).shape(), ListShape::kArrayList);
    EXPECT_EQ(std::get<int64_t>(target<ManagedList>(seen->handle).get(0)), 5);
    test::release(seen);
    set({0, nullptr});
}

TEST_F(TailTest, AStaticPropertyIsStored) {
    const TypeInfo& cache = require_type("Zelmor.Imaging.Cache");
    const auto* entry = [&]() -> const EntryInfo* {
        for (const EntryInfo& each : cache.entries) {
            if (std::string_view(each.name) == "setsa_CacheFolder") {
                return &each;
            }
        }
        return nullptr;
    }();
    ASSERT_NE(entry, nullptr);
    ASSERT_STREQ(entry->signature, "vT");
    if (find_behavior(cache.full_name, entry->name).address != nullptr) {
        GTEST_SKIP() << "the member has behavior by now";
    }
    const test::TextArgument folder("/var/cache");
    call<void>(cache.full_name, "setsa_CacheFolder", folder.get());
    EXPECT_EQ(test::text_of_object(call<PyObject*>(cache.full_name, "getsa_CacheFolder")), u"/var/cache");
    const test::TextArgument none;
    call<void>(cache.full_name, "setsa_CacheFolder", none.get());
    test::release(call<PyObject*>(cache.full_name, "getsa_CacheFolder"));
}

TEST_F(TailTest, ACopyHasTheSameProperties) {
    Owned png(call<void*>(kPng, "ctor_000_PngOptions"));
    call<void>(kPng, "set_CompressionLevel", png.get(), 3);
    call<void>(kBase, "set_FullFrame", png.get(), true);
    Owned copy(call<void*>(kPng, "ctor_001_PngOptions", png.get()));
    EXPECT_NE(object_of(copy.get()), object_of(png.get()));
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", copy.get()), 3);
    EXPECT_EQ(call<bool>(kBase, "get_FullFrame", copy.get()), true);
    call<void>(kPng, "set_CompressionLevel", copy.get(), 1);
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", png.get()), 3);

    Owned clone(call<void*>(kBase, "call_000_Clone", png.get()));
    EXPECT_STREQ(object_of(clone.get())->type().full_name, kPng);
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", clone.get()), 3);

    EXPECT_EQ(call<void*>(kPng, "ctor_001_PngOptions", static_cast<void*>(nullptr)), nullptr);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "ArgumentNullException");
    EXPECT_NE(raised.detail.find("png_options"), std::string::npos);
}

TEST_F(TailTest, AConstructorFillsThePropertiesOfItsArguments) {
    Owned interval(call<void*>("Zelmor.Imaging.ImageOptions.TimeInterval", "ctor_000_TimeInterval", 5u, 9u));
    const ManagedObject& object = require_object(interval.get());
    EXPECT_EQ(property_int(object, "From"), 5);
    EXPECT_EQ(property_int(object, "To"), 9);
}

TEST_F(TailTest, AMemberWithoutBehaviorIsReportedAsNotSupported) {
    constexpr const char* kRaw = "Zelmor.Imaging.FileFormats.Dng.Decoder.ImageParameters";
    Owned raw(make_handle(make_instance(kRaw)));
    EXPECT_EQ(call<int>(kRaw, "get_IsFoveon", raw.get()), 0);
    auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "NotSupportedException");
    EXPECT_NE(raised.detail.find("ImageParameters.IsFoveon"), std::string::npos);

    // Any method of a plain class that nobody has written: the first one there is.
    for (const TypeInfo& type : types()) {
        for (const EntryInfo& entry : type.entries) {
            if (type.kind != TypeKind::kClass || entry.role != EntryRole::kCall) {
                continue;
            }
            if (std::string_view(entry.signature) != "vp" || find_override(type, type, entry) != nullptr) {
                continue;
            }
            if (find_behavior(type.full_name, entry.name).address != nullptr) {
                continue;
            }
            const auto instance = make_ref<Record>(type);
            Owned object(make_handle(instance));
            call<void>(type.full_name, entry.name, object.get());
            raised = test::take_raised();
            EXPECT_EQ(raised.name, "NotSupportedException");
            EXPECT_EQ(raised.detail,
                      std::string(type.name) + "." + entry.member + "() is not supported by the embedded runtime.");
            return;
        }
    }
    GTEST_SKIP() << "every method has behavior";
}

TEST_F(TailTest, ANullOrForeignInstanceIsRefused) {
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", static_cast<void*>(nullptr)), 0);
    auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "NullReferenceException");
    EXPECT_NE(raised.detail.find("PngOptions.CompressionLevel"), std::string::npos);
    Owned load(call<void*>(kLoad, "ctor_000_LoadOptions"));
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", load.get()), 0);
    EXPECT_EQ(test::take_raised().name, "InvalidCastException");
    EXPECT_EQ(call<int>(kPng, "get_CompressionLevel", reinterpret_cast<void*>(0x77)), 0);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
}

// The values that have a form of their own on the wire, those of a new property among them. A pointer that the caller
// passes for one need not be aligned.
TEST_F(TailTest, SystemValuesCrossWordForWord) {
    constexpr int64_t kHour = 3600 * kTicksPerSecond;
    const GuidValue guid{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xFF}};
    const std::pair<Wire, Value> values[] = {{Wire::kDateTime, DateTimeValue{738'000 * uint64_t{kTicksPerDay}, 0}},
                                             {Wire::kDateTimeOffset, DateTimeOffsetValue{5 * kTicksPerDay, 2 * kHour}},
                                             {Wire::kTimeSpan, TimeSpanValue{-kHour}},
                                             {Wire::kDecimal, DecimalValue{{1, 2, 3, 0x80050000}}},
                                             {Wire::kGuid, guid}};
    const auto crossed = [](Wire wire, const Value& value) {
        int64_t result = 0;
        alignas(16) std::array<std::byte, 32> out{};
        void* pointer = out.data();
        void* arguments[] = {&pointer};
        CallFrame getting(wire == Wire::kTimeSpan ? "lp" : "vp", &result, arguments);
        write_wire(getting, value, wire, nullptr);
        // A span and a date are arguments by themselves; the others are passed by their address.
        const bool by_itself = wire == Wire::kTimeSpan || wire == Wire::kDateTime;
        const bool aligned = by_itself || wire == Wire::kDateTimeOffset;
        if (!aligned) {
            std::memmove(out.data() + 1, out.data(), 16);
            pointer = out.data() + 1;
        }
        if (by_itself) {
            arguments[0] = wire == Wire::kTimeSpan ? static_cast<void*>(&result) : pointer;
        }
        CallFrame setting("vp", nullptr, arguments);
        return read_wire(setting, 0, wire, nullptr);
    };
    for (const auto& [wire, value] : values) {
        const Value zero = zero_value(wire, nullptr);
        EXPECT_EQ(zero.index(), value.index()) << static_cast<int>(wire);
        EXPECT_FALSE(values_equal(zero, value)) << static_cast<int>(wire);
        EXPECT_TRUE(values_equal(crossed(wire, value), value)) << static_cast<int>(wire);
        EXPECT_TRUE(values_equal(crossed(wire, zero), zero)) << static_cast<int>(wire);
        EXPECT_THROW(crossed(wire, std::u16string(u"x")), ManagedException) << static_cast<int>(wire);
    }
}

// Every type that can be made without arguments, every property of it that can be written: a round trip.
TEST_F(TailTest, EveryWritableNumberOfTheCatalogueIsStored) {
    int checked = 0;
    for (const TypeInfo& type : types()) {
        const bool made_of_nothing = std::any_of(type.entries.begin(), type.entries.end(), [](const EntryInfo& entry) {
            return entry.role == EntryRole::kCtor && entry.params.empty();
        });
        if (type.kind != TypeKind::kClass || !made_of_nothing) {
            continue;
        }
        Owned object(make_handle(make_instance(type)));
        if (dynamic_cast<Record*>(object_of(object.get())) == nullptr) {
            continue;
        }
        for (size_t i = 0; i < type.properties.size(); ++i) {
            const PropertyInfo& property = type.properties[i];
            const std::string setter = std::string("set_") + property.name;
            if (property.is_static || !property.writable || property.wire != Wire::kInt32) {
                continue;
            }
            if (find_behavior(type.full_name, setter.c_str()).address != nullptr) {
                continue;
            }
            const auto value = static_cast<int32_t>(1000 + i);
            call<void>(type.full_name, setter.c_str(), object.get(), value);
            const std::string getter = std::string("get_") + property.name;
            EXPECT_EQ(call<int32_t>(type.full_name, getter.c_str(), object.get()), value)
                << type.full_name << "." << property.name;
            ++checked;
        }
    }
    EXPECT_GT(checked, 20);
}

}  // namespace
}  // namespace zelmor::embed
