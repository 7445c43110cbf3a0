// UTF-16 texts that are handed over in a holder of their own.
#include "exchange/u16_buffer.h"

#include <stdexcept>

#include "bridge_test.h"

namespace {

class U16Buffer : public BridgeTest {};

TEST_F(U16Buffer, HoldsACopyThatTheReceiverTakes) {
    std::u16string source = u"Zelmor.Imaging.FileFormats.Png.PngImage \xD83D\xDE00";
    const std::u16string expected = source;
    void* holder = fn_create_u16_buffer(source.data(), static_cast<int>(source.size()));
    source.assign(source.size(), u'x');
    EXPECT_EQ(zelmor::take_u16_buffer(holder), expected);
}

TEST_F(U16Buffer, ACountOfZeroIsTheEmptyTextWhateverThePointer) {
    EXPECT_EQ(zelmor::take_u16_buffer(fn_create_u16_buffer(nullptr, 0)), u"");
    EXPECT_EQ(zelmor::take_u16_buffer(fn_create_u16_buffer(u"abc", 0)), u"");
}

TEST_F(U16Buffer, KeepsEmbeddedNulls) {
    const char16_t units[] = {u'a', 0, u'b'};
    EXPECT_EQ(zelmor::take_u16_buffer(fn_create_u16_buffer(units, 3)), std::u16string(units, 3));
}

TEST_F(U16Buffer, ANullPointerWithACountIsALogicError) {
    EXPECT_THROW(fn_create_u16_buffer(nullptr, 1), std::logic_error);
}

TEST_F(U16Buffer, NoHolderIsTheEmptyText) {
    EXPECT_EQ(zelmor::take_u16_buffer(nullptr), u"");
}

}  // namespace
