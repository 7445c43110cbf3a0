// Members that take and give collections: by behavior, and by the rules of the generic implementation.
#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

constexpr const char* kMulti = "Zelmor.Imaging.ImageOptions.MultiPageOptions";

class MembersTest : public test::RuntimeTest {
 protected:
    // A Python list of numbers, for the length of a call.
    class Numbers {
     public:
        explicit Numbers(std::vector<int64_t> items, int tag = 2) {
            std::vector<PyObject*> objects;
            for (const int64_t item : items) {
                objects.push_back(test::new_int(item));
            }
            m_arg = {tag, test::new_list(std::move(objects))};
        }
        ~Numbers() { test::release(static_cast<PyObject*>(m_arg.value)); }
        Numbers(const Numbers&) = delete;
        Numbers& operator=(const Numbers&) = delete;
        const VariantArg* arg() const { return &m_arg; }

     private:
        VariantArg m_arg;
    };

    static std::vector<int32_t> numbers(const ManagedObject& object, const char* name) {
        return cast_object<ScalarList<int32_t>>(*property_object(object, name)).items;
    }
};

using Ints = std::vector<int32_t>;

TEST_F(MembersTest, AnArrayPropertyAcceptsAPythonList) {
    Owned options(call<void*>(kMulti, "ctor_000_MultiPageOptions"));
    const auto set = [&](const VariantArg* value) { call<void>(kMulti, "set_Pages", options.get(), value); };
    const ManagedObject& object = *object_of(options.get());
    set(Numbers({3, 1}, kHandlePyObject).arg());
    EXPECT_EQ(numbers(object, "Pages"), (Ints{3, 1}));
    set(Numbers({7}, kHandlePySequence).arg());
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));
    PyCollectionArg shown{};
    call<void>(kMulti, "get_Pages", options.get(), &shown);
    Owned array(shown.value);
    EXPECT_EQ(shown.kind, kCollectionObject);
    EXPECT_STREQ(object_of(array.get())->type().full_name, "System.Int32[]");
    const VariantArg same{kHandleObject, array.get()};
    set(&same);
    EXPECT_EQ(property_object(object, "Pages").get(), object_of(array.get()));
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));

    Owned floats(make_handle(make_array<float>({1})));
    const VariantArg wrong{kHandleObject, floats.get()};
    set(&wrong);
    EXPECT_EQ(test::take_raised().detail, "Unable to cast object of type 'System.Single[]' to type 'System.Int32[]'.");
    EXPECT_EQ(numbers(object, "Pages"), (Ints{7}));
    const VariantArg none{};
    set(&none);
    EXPECT_FALSE(property_object(object, "Pages"));
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
