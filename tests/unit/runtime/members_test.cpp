// Members that take and give collections: by behaviour, and by the rules of the generic implementation.
#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/core/collection.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

constexpr const char* kMulti = "Zelmor.Imaging.ImageOptions.MultiPageOptions";
constexpr const char* kDjvu = "Zelmor.Imaging.ImageOptions.DjvuMultiPageOptions";
constexpr const char* kRange = "Zelmor.Imaging.IntRange";
constexpr const char* kPalette = "Zelmor.Imaging.ColorPalette";

class MembersTest : public test::RuntimeTest {
 protected:
    // A Python list of numbers, for the length of a call.
    class Numbers {
     public:
        explicit Numbers(std::vector<int64_t> items, int tag = 2) {
            std::vector<PyObject*> objects;
            for (const int64_t item : items)
                objects.push_back(test::new_int(item));
            arg_ = {tag, test::new_list(std::move(objects))};
        }
        ~Numbers() { test::release(static_cast<PyObject*>(arg_.value)); }
        Numbers(const Numbers&) = delete;
        Numbers& operator=(const Numbers&) = delete;
        const VariantArg* arg() const { return &arg_; }

     private:
        VariantArg arg_;
    };

    static std::vector<int32_t> numbers(const ManagedObject& object, const char* name) {
        return cast_object<ScalarList<int32_t>>(*property_object(object, name)).items;
    }
};

using Ints = std::vector<int32_t>;

TEST_F(MembersTest, APropertyTakesAListAsTheArrayOfItsConstructors) {
    Owned options(call<void*>(kMulti, "ctor_000_MultiPageOptions"));
    const auto set = [&](const VariantArg* value) { call<void>(kMulti, "set_Pages", options.get(), value); };
    const ManagedObject& object = *object_of(options.get());
    set(Numbers({3, 1}, kVariantList).arg());
    EXPECT_EQ(numbers(object, "Pages"), (Ints{3, 1}));
    set(Numbers({7}, kVariantTuple).arg());
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));
    PyObject* shown = call<PyObject*>(kMulti, "get_Pages", options.get());
    EXPECT_STREQ(object_of(shown->handle)->type().full_name, "System.Int32[]");
    const VariantArg same{kVariantObject, shown->handle};
    set(&same);
    test::release(shown);
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));

    Owned floats(make_handle(make_array<float>({1})));
    const VariantArg wrong{kVariantObject, floats.get()};
    set(&wrong);
    EXPECT_EQ(test::take_raised().detail, "Unable to cast object of type 'System.Single[]' to type 'System.Int32[]'.");
    PyObject* text = test::new_text(u"1");
    const VariantArg words{kVariantString, text};
    set(&words);
    EXPECT_EQ(test::take_raised().name, "InvalidCastException");
    test::release(text);
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));
    const VariantArg none{};
    set(&none);
    EXPECT_FALSE(property_object(object, "Pages"));
}

TEST_F(MembersTest, OptionsOfRangesHoldTheirPages) {
    Owned range(call<void*>(kRange, "ctor_001_IntRange", 2, 3, 10));
    EXPECT_EQ(numbers(*object_of(range.get()), "Range"), (Ints{2, 12, 22}));
    Owned options(call<void*>(kMulti, "ctor_007_MultiPageOptions", range.get()));
    EXPECT_EQ(numbers(*object_of(options.get()), "Pages"), (Ints{2, 12, 22}));
    EXPECT_EQ(property_int(*object_of(options.get()), "Mode"), 2);
    auto ranges = make_list(ListShape::kArray, *find_element("70438DFB"));
    ranges->append(Ref<ManagedObject>(object_of(range.get())));
    ranges->append(Ref<ManagedObject>(object_of(range.get())));
    Owned array(make_handle(ranges));
    const VariantArg arg = array.object_arg();
    call<void>(kMulti, "call_000_InitPages", options.get(), &arg);
    EXPECT_EQ(numbers(*object_of(options.get()), "Pages").size(), 6u);
    Owned area(make_struct_handle(RectangleValue{1, 2, 3, 4}));
    const VariantArg bounds = area.struct_arg();
    Owned djvu(call<void*>(kDjvu, "call_000_CreateWithPageNumberRect", 4, &bounds));
    EXPECT_STREQ(object_of(djvu.get())->type().full_name, kDjvu);
    EXPECT_EQ(unbox<RectangleValue>(*property_object(*object_of(djvu.get()), "ExportArea")).height, 4);
    call<void*>(kMulti, "ctor_007_MultiPageOptions", static_cast<void*>(nullptr));
    EXPECT_EQ(test::take_raised().name, "ArgumentNullException");
}

TEST_F(MembersTest, RangesCountAndRefuseWhatDoesNotFit) {
    PyCollectionArg out{};
    call<void>(kRange, "call_000_GetRange", 5, 3, -2, &out);
    Owned run(out.value);
    EXPECT_EQ(out.kind, kCollectionObject);
    EXPECT_EQ(target<ScalarList<int32_t>>(run.get()).items, (Ints{5, 3, 1}));
    call<void*>(kRange, "ctor_000_IntRange", 0, -1);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    call<void*>(kRange, "ctor_001_IntRange", 2147483647, 2, 1);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    Owned one(call<void*>(kRange, "ctor_002_IntRange", Numbers({9, 8}).arg()));
    PyCollectionArg item{};
    call<void>(kRange, "call_000_GetArrayOneItemFromIndex", one.get(), 1, &item);
    Owned array(item.value);
    EXPECT_EQ(target<ScalarList<int32_t>>(array.get()).items, (Ints{8}));
    call<void>(kRange, "call_000_GetArrayOneItemFromIndex", one.get(), 2, &item);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
}

TEST_F(MembersTest, PalettesFindTheNearestEntry) {
    Owned palette(call<void*>(kPalette, "ctor_000_ColorPalette",
                              Numbers({int32_t(0xFF000000), int32_t(0xFFFFFFFF), int32_t(0xFFFF0000)}).arg(), true));
    const auto nearest = [&](uint32_t argb) {
        return call<int>(kPalette, "call_000_GetNearestColorIndex", palette.get(), static_cast<int32_t>(argb));
    };
    EXPECT_EQ(nearest(0xFFFFFFFF), 1);
    EXPECT_EQ(nearest(0xFFE01010), 2);
    EXPECT_EQ(nearest(0xFF202020), 0);
    EXPECT_EQ(call<int>("Zelmor.Imaging.IColorPalette", "get_EntriesCount", palette.get()), 3);
    EXPECT_EQ(call<bool>(kPalette, "get_IsCompactPalette", palette.get()), true);
    PyObject* entries = call<PyObject*>(kPalette, "get_Entries", palette.get());
    EXPECT_STREQ(object_of(entries->handle)->type().full_name, "Zelmor.Imaging.Color[]");
    const VariantArg colors{0, entries->handle};
    Owned twin(call<void*>(kPalette, "ctor_003_ColorPalette", &colors));
    test::release(entries);
    EXPECT_EQ(call<int>(kPalette, "call_000_GetArgb32Color", twin.get(), 2), static_cast<int32_t>(0xFFFF0000));
    call<int>(kPalette, "call_000_GetArgb32Color", twin.get(), 3);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    const VariantArg none{};
    call<void*>(kPalette, "ctor_001_ColorPalette", &none);
    EXPECT_EQ(test::take_raised().name, "ArgumentNullException");
    EXPECT_EQ(call<void*>(kPalette, "call_001_CopyPalette", &none), nullptr);
    Owned empty(call<void*>(kPalette, "ctor_001_ColorPalette", Numbers({}).arg()));
    call<int>(kPalette, "call_000_GetNearestColorIndex", empty.get(), 0);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
}

TEST_F(MembersTest, StandardPalettesHaveTheirEntries) {
    constexpr const char* kHelper = "Zelmor.Imaging.ColorPaletteHelper";
    const auto entries = [](const char* entry, auto... arguments) {
        PyObjectOutArg out{};
        call<void>(kHelper, entry, arguments..., &out);
        Owned palette(out.handle);
        EXPECT_NE(out.type_id, 0);
        const VariantArg arg = palette.object_arg();
        EXPECT_FALSE(call<bool>(kHelper, "call_000_HasTransparentColors", &arg)) << entry;
        const int last = call<int>(kPalette, "get_EntriesCount", palette.get()) - 1;
        return std::pair(last + 1, call<int>(kPalette, "call_000_GetArgb32Color", palette.get(), last));
    };
    EXPECT_EQ(entries("call_000_CreateMonochrome"), std::pair(2, -1));
    EXPECT_EQ(entries("call_000_Create4Bit"), std::pair(16, -1));
    EXPECT_EQ(entries("call_000_Create8Bit"), std::pair(256, -1));
    EXPECT_EQ(entries("call_000_Create4BitGrayscale", false), std::pair(16, -1));
    EXPECT_EQ(entries("call_000_Create8BitGrayscale", true), std::pair(256, static_cast<int>(0xFF000000)));
}

TEST_F(MembersTest, ANonGenericListWorksOnTheListThatItWasGiven) {
    constexpr const char* kList = "Zelmor.Imaging.NonGenericList";
    PyObject* python = test::new_list({test::new_int(4)});
    {
        const VariantArg arg{2, python};
        Owned list(call<void*>(kList, "ctor_000_NonGenericList", &arg));
        target<ManagedList>(list.get()).append(int64_t{5});
        EXPECT_EQ(std::get<std::vector<PyObject*>>(python->value).size(), 2u);
        EXPECT_STREQ(object_of(list.get())->type().full_name, kList);
    }
    EXPECT_EQ(python->count, 1);
    test::release(python);
    const VariantArg none{};
    call<void*>(kList, "ctor_000_NonGenericList", &none);
    EXPECT_EQ(test::take_raised().name, "ArgumentNullException");
    const auto derived = make_instance("Zelmor.Imaging.FileFormats.Emf.MetaObjectList");
    EXPECT_STREQ(derived->type().full_name, "Zelmor.Imaging.FileFormats.Emf.MetaObjectList");
}

TEST_F(MembersTest, ADictionaryKeepsPairsInOrder) {
    constexpr const char* kDictionary = "Zelmor.Imaging.NonGenericDictionary";
    Owned dictionary(make_handle(make_instance(kDictionary)));
    PyObject* key = test::new_text(u"k");
    PyObject* value = test::new_int(7);
    const VariantArg k{kVariantString, key}, v{kVariantInt, value};
    call<void>(kDictionary, "call_000_Add", dictionary.get(), &k, &v);
    call<void>(kDictionary, "call_000_Add", dictionary.get(), &k, &v);
    EXPECT_EQ(test::take_raised().name, "ArgumentException");
    PyCollectionArg out{};
    call<void>(kDictionary, "get_Values", dictionary.get(), &out);
    Owned values(out.value);
    EXPECT_EQ(std::get<int64_t>(target<ManagedList>(values.get()).get(0)), 7);
    auto& pairs = target<ManagedCollection>(dictionary.get());
    EXPECT_TRUE(pairs.contains(Value(std::u16string(u"k"))));
    call<void>(kDictionary, "call_000_Remove", dictionary.get(), &k);
    EXPECT_EQ(pairs.size(), 0u);
    test::release(key);
    test::release(value);
}

TEST_F(MembersTest, PixelFormatsAreEqualByTheirChannels) {
    constexpr const char* kFormat = "Zelmor.Imaging.PixelDataFormat";
    Owned cmyk(call<void*>(kFormat, "getsa_Cmyk"));
    Owned made(call<void*>(kFormat, "call_000_GetCmyk", 8));
    Owned other(call<void*>(kFormat, "call_000_GetYcck", 8));
    EXPECT_TRUE(object_of(cmyk.get())->equals(*object_of(made.get())));
    EXPECT_EQ(object_of(cmyk.get())->hash_code(), object_of(made.get())->hash_code());
    EXPECT_FALSE(object_of(cmyk.get())->equals(*object_of(other.get())));
    EXPECT_EQ(call<int>(kFormat, "get_BitsPerPixel", cmyk.get()), 32);
    EXPECT_EQ(call<int>(kFormat, "get_ChannelsCount", cmyk.get()), 4);
    Owned padded(call<void*>(kFormat, "getsa_Rgb16Bpp555"));
    EXPECT_EQ(call<int>(kFormat, "get_BitsPerPixel", padded.get()), 16);
    EXPECT_EQ(numbers(*object_of(padded.get()), "ChannelBits"), (Ints{5, 5, 5}));
    call<void*>(kFormat, "call_000_GetGrayscale", 0);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    Owned before(call<void*>(kFormat, "getsa_Grayscale"));
    call<void>(kFormat, "setsa_Grayscale", other.get());
    Owned after(call<void*>(kFormat, "getsa_Grayscale"));
    EXPECT_EQ(object_of(after.get()), object_of(other.get()));
    call<void>(kFormat, "setsa_Grayscale", before.get());
}

}  // namespace
}  // namespace zelmor::embed
