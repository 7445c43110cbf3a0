// A text or a byte array that is null where one has to be: it is refused by the name of the parameter.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "fake_python.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

const std::string kReaders = "Zelmor.Imaging.FileFormats.Tiff.FileManagement.", kXmp = "Zelmor.Imaging.Xmp.";

class NullArguments : public test::RuntimeTest {
 protected:
    // The parameter that the reported exception names.
    static std::string named(const std::function<void()>& action) {
        action();
        const auto raised = test::take_raised();
        const std::string before = "ArgumentNullException: Value cannot be null. (Parameter '", after = "')";
        const std::string text = raised.name + ": " + raised.detail;
        if (text.size() < before.size() + after.size() || text.substr(0, before.size()) != before) {
            return text;
        }
        return text.substr(before.size(), text.size() - before.size() - after.size());
    }
};

// Entry points that share a function with others.
TEST_F(NullArguments, OfOneOfManyMembersAreNamed) {
    const PyBytesArg null{0, -1, nullptr};
    for (const char* reader : {"TiffBigEndianStreamReader", "TiffStreamReader"}) {
        const auto made = [&](const char* number, auto... numbers) {
            return named([&] {
                EXPECT_EQ(
                    call<void*>((kReaders + reader).c_str(), (std::string(number) + reader).c_str(), &null, numbers...),
                    nullptr);
            });
        };
        EXPECT_EQ(made("ctor_000_"), "data");
        EXPECT_EQ(made("ctor_001_", 0), "data");
        EXPECT_EQ(made("ctor_002_", 0, 0), "data");
    }
    const std::string schema = kXmp + "Schemas.DublinCore.DublinCorePackage";
    const Owned package(call<void*>(schema.c_str(), "ctor_000_DublinCorePackage"));
    for (const auto& [entry, name] : {std::pair{"call_000_SetAuthor", "author"}, {"call_000_SetTitle", "title"}}) {
        EXPECT_EQ(
            named([&, entry = entry] { call<void>(schema.c_str(), entry, package.get(), test::TextArgument().get()); }),
            name);
    }
}

TEST_F(NullArguments, OfAMemberOfItsOwnAreNamed) {
    const test::TextArgument text("text"), null;
    const std::string root_name = kXmp + "XmpRdfRoot", layer = kXmp + "Schemas.Photoshop.Layer";
    const Owned root(call<void*>(root_name.c_str(), "ctor_000_XmpRdfRoot"));
    for (const bool is_first : {true, false}) {
        const auto *first = (is_first ? null : text).get(), *second = (is_first ? text : null).get();
        EXPECT_EQ(
            named([&] { call<void>(root_name.c_str(), "call_000_RegisterNamespaceUri", root.get(), first, second); }),
            is_first ? "prefix" : "namespace_uri");
        EXPECT_EQ(named([&] { EXPECT_EQ(call<void*>(layer.c_str(), "ctor_000_Layer", first, second), nullptr); }),
                  is_first ? "layer_name" : "layer_text");
    }
}

}  // namespace
}  // namespace zelmor::embed
