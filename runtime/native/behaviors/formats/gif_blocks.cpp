// Reading and writing extension blocks, and their members. An extension is its introducer, its label, and sub-blocks of
// up to 255 bytes with their length before them; an empty one ends it. Where a kind has a fixed part, that is the first
// sub-block.
#include "runtime/native/behaviors/formats/gif_blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kApplication = api::FileFormats::Gif::Blocks::GifApplicationExtensionBlock::kType.name;
constexpr const char* kComment = api::FileFormats::Gif::Blocks::GifCommentBlock::kType.name;
constexpr const char* kControl = api::FileFormats::Gif::Blocks::GifGraphicsControlBlock::kType.name;
constexpr const char* kPlainText = api::FileFormats::Gif::Blocks::GifPlainTextRenderingBlock::kType.name;
constexpr const char* kUnknown = api::FileFormats::Gif::Blocks::GifUnknownExtensionBlock::kType.name;

using DisposalMethod = api::FileFormats::Gif::DisposalMethod;

constexpr size_t kMostOfSubBlock = 255;
constexpr size_t kIdentifierBytes = 8;
constexpr size_t kCodeBytes = 3;
constexpr size_t kControlBytes = 4;
constexpr size_t kPlainTextBytes = 12;

// The flags of a graphics control block.
constexpr int kTransparentBit = 1;
constexpr int kUserInputBit = 2;
constexpr int kDisposalShift = 2;
constexpr int kDisposalMask = 7;

uint8_t byte_at(const Bytes& bytes, size_t index) {
    return std::to_integer<uint8_t>(bytes[index]);
}
int64_t uint16_at(const Bytes& bytes, size_t index) {
    return byte_at(bytes, index) | byte_at(bytes, index + 1) << 8;
}
void add_byte(Bytes& bytes, int64_t value) {
    bytes.push_back(static_cast<std::byte>(value));
}
void add_uint16(Bytes& bytes, int64_t value) {
    add_byte(bytes, value & 0xFF);
    add_byte(bytes, value >> 8 & 0xFF);
}

// The bytes of a property that is bytes or text; none for null.
Bytes content_of(const ManagedObject& block, const char* name) {
    const Value& value = property(block, name);
    if (is_null(value)) {
        return {};
    }
    if (const auto* bytes = std::get_if<Bytes>(&value)) {
        return *bytes;
    }
    const std::string utf8 = to_utf8(std::get<std::u16string>(value));
    const auto* data = reinterpret_cast<const std::byte*>(utf8.data());
    return {data, data + utf8.size()};
}
Bytes content_of(const ManagedObject& block, const char* name, size_t count) {
    Bytes bytes = content_of(block, name);
    if (bytes.size() != count) {
        throw_invalid_operation(std::string(block.type().name) + "." + name + " has " + std::to_string(count) +
                                " bytes, not " + std::to_string(bytes.size()) + ".");
    }
    return bytes;
}

void add_sub_blocks(Bytes& into, const Bytes& content) {
    for (size_t at = 0; at < content.size(); at += kMostOfSubBlock) {
        const size_t count = std::min(content.size() - at, kMostOfSubBlock);
        add_byte(into, static_cast<int64_t>(count));
        const auto first = content.begin() + static_cast<std::ptrdiff_t>(at);
        into.insert(into.end(), first, first + static_cast<std::ptrdiff_t>(count));
    }
    add_byte(into, 0);
}

std::vector<Bytes> read_sub_blocks(ManagedStream& stream) {
    std::vector<Bytes> blocks;
    for (;;) {
        std::byte length{};
        stream.read_exactly({&length, 1});
        if (length == std::byte{0}) {
            return blocks;
        }
        stream.read_exactly(blocks.emplace_back(std::to_integer<size_t>(length)));
    }
}

// The sub-blocks from an index on as one piece of data.
Bytes joined(const std::vector<Bytes>& blocks, size_t first) {
    Bytes all;
    for (size_t i = first; i < blocks.size(); ++i) {
        all.insert(all.end(), blocks[i].begin(), blocks[i].end());
    }
    return all;
}

const Bytes& fixed_part(const std::vector<Bytes>& blocks, size_t count, const char* what) {
    if (blocks.empty() || blocks.front().size() != count) {
        throw_argument(std::string("The ") + what + " of a GIF file has a fixed part of " + std::to_string(count) +
                       " bytes, not of " + std::to_string(blocks.empty() ? 0 : blocks.front().size()) + ".");
    }
    return blocks.front();
}

void fill_plain_text(ManagedObject& block, const Bytes& fixed) {
    set_property(block, "TextGridLeftPosition", uint16_at(fixed, 0));
    set_property(block, "TextGridTopPosition", uint16_at(fixed, 2));
    set_property(block, "TextGridWidth", uint16_at(fixed, 4));
    set_property(block, "TextGridHeight", uint16_at(fixed, 6));
    set_property(block, "CharacterCellWidth", int64_t{byte_at(fixed, 8)});
    set_property(block, "CharacterCellHeight", int64_t{byte_at(fixed, 9)});
    set_property(block, "TextForegroundColorIndex", int64_t{byte_at(fixed, 10)});
    set_property(block, "TextBackgroundColorIndex", int64_t{byte_at(fixed, 11)});
}

Bytes plain_text_part(const ManagedObject& block) {
    Bytes fixed;
    for (const char* name : {"TextGridLeftPosition", "TextGridTopPosition", "TextGridWidth", "TextGridHeight"}) {
        add_uint16(fixed, property_int(block, name));
    }
    for (const char* name :
         {"CharacterCellWidth", "CharacterCellHeight", "TextForegroundColorIndex", "TextBackgroundColorIndex"}) {
        add_byte(fixed, property_int(block, name));
    }
    return fixed;
}

Ref<ManagedObject> unknown_of(uint8_t label, const std::vector<Bytes>& blocks) {
    auto block = make_instance(kUnknown);
    set_property(*block, "ExtensionLabel", int64_t{label});
    set_property(*block, "UnknownData", joined(blocks, 0));
    return block;
}

Ref<ManagedObject> block_of(uint8_t label, const std::vector<Bytes>& blocks) {
    auto block = make_instance(gif_block_class(label));
    switch (static_cast<GifLabel>(label)) {
        case GifLabel::kControl: {
            const Bytes& fixed = fixed_part(blocks, kControlBytes, "graphics control block");
            set_property(*block, "Flags", int64_t{byte_at(fixed, 0)});
            set_property(*block, "DelayTime", uint16_at(fixed, 1));
            set_property(*block, "TransparentColorIndex", int64_t{byte_at(fixed, 3)});
            break;
        }
        case GifLabel::kComment: {
            const Bytes text = joined(blocks, 0);
            set_property(*block, "Comment", to_utf16({reinterpret_cast<const char*>(text.data()), text.size()}));
            break;
        }
        case GifLabel::kApplication: {
            const Bytes& fixed = fixed_part(blocks, kIdentifierBytes + kCodeBytes, "application extension");
            const auto* text = reinterpret_cast<const char*>(fixed.data());
            set_property(*block, "ApplicationIdentifier", to_utf16({text, kIdentifierBytes}));
            set_property(*block, "ApplicationAuthenticationCode", Bytes(fixed.begin() + kIdentifierBytes, fixed.end()));
            set_property(*block, "ApplicationData", joined(blocks, 1));
            break;
        }
        case GifLabel::kPlainText:
            fill_plain_text(*block, fixed_part(blocks, kPlainTextBytes, "plain text block"));
            set_property(*block, "PlainTextData", joined(blocks, 1));
            break;
        default:
            return unknown_of(label, blocks);
    }
    return block;
}

void add_fixed(Bytes& bytes, const Bytes& fixed) {
    add_byte(bytes, static_cast<int64_t>(fixed.size()));
    bytes.insert(bytes.end(), fixed.begin(), fixed.end());
}

void add_label(Bytes& bytes, GifLabel label) {
    add_byte(bytes, static_cast<int64_t>(label));
}

Bytes bytes_of(const ManagedObject& block) {
    const std::string_view type = block.type().full_name;
    Bytes bytes;
    add_byte(bytes, kGifExtensionIntroducer);
    if (type == kControl) {
        add_label(bytes, GifLabel::kControl);
        Bytes fixed;
        add_byte(fixed, property_int(block, "Flags"));
        add_uint16(fixed, property_int(block, "DelayTime"));
        add_byte(fixed, property_int(block, "TransparentColorIndex"));
        add_fixed(bytes, fixed);
        add_sub_blocks(bytes, {});
    } else if (type == kComment) {
        add_label(bytes, GifLabel::kComment);
        add_sub_blocks(bytes, content_of(block, "Comment"));
    } else if (type == kApplication) {
        add_label(bytes, GifLabel::kApplication);
        Bytes fixed = content_of(block, "ApplicationIdentifier", kIdentifierBytes);
        const Bytes code = content_of(block, "ApplicationAuthenticationCode", kCodeBytes);
        fixed.insert(fixed.end(), code.begin(), code.end());
        add_fixed(bytes, fixed);
        add_sub_blocks(bytes, content_of(block, "ApplicationData"));
    } else if (type == kPlainText) {
        add_label(bytes, GifLabel::kPlainText);
        add_fixed(bytes, plain_text_part(block));
        add_sub_blocks(bytes, content_of(block, "PlainTextData"));
    } else if (type == kUnknown) {
        add_byte(bytes, property_int(block, "ExtensionLabel"));
        add_sub_blocks(bytes, content_of(block, "UnknownData"));
    } else {
        throw_not_supported(std::string(block.type().name) + ".Save");
    }
    return bytes;
}

void save(Record& self, const Ref<ManagedStream>& stream) {
    write_gif_block(self, *stream);
}

Value bytes_or_null(const PyBytesArg* data) {
    if (data->length < 0) {
        return Ref<ManagedObject>();
    }
    const auto* first = static_cast<const std::byte*>(data->data);
    return Bytes(first, first + data->length);
}

Ref<ManagedObject> unknown_block(uint8_t extension_label, const PyBytesArg* data) {
    auto block = make_instance(kUnknown);
    set_property(*block, "ExtensionLabel", int64_t{extension_label});
    set_property(*block, "UnknownData", bytes_or_null(data));
    return block;
}

Ref<ManagedObject> plain_text_block(uint16_t left, uint16_t top, uint16_t width, uint16_t height, uint8_t cell_width,
                                    uint8_t cell_height, uint8_t foreground, uint8_t background,
                                    const PyBytesArg* data) {
    Bytes fixed;
    for (const uint16_t each : {left, top, width, height}) {
        add_uint16(fixed, each);
    }
    for (const uint8_t each : {cell_width, cell_height, foreground, background}) {
        add_byte(fixed, each);
    }
    auto block = make_instance(kPlainText);
    fill_plain_text(*block, fixed);
    set_property(*block, "PlainTextData", bytes_or_null(data));
    return block;
}

int32_t control_flags(bool has_transparent_color, bool requires_user_input, DisposalMethod disposal_method) {
    const auto number = static_cast<int32_t>(disposal_method);
    if (number < 0 || number > kDisposalMask) {
        throw_out_of_range("disposal_method",
                           "The disposal method " + std::to_string(number) + " has no room in three bits.");
    }
    return number << kDisposalShift | (requires_user_input ? kUserInputBit : 0) |
           (has_transparent_color ? kTransparentBit : 0);
}

Ref<ManagedObject> control_block(uint16_t delay_time, bool has_transparent_color, uint8_t transparent_color_index,
                                 bool requires_user_input, DisposalMethod disposal_method) {
    auto block = make_instance(kControl);
    set_property(*block, "Flags", int64_t{control_flags(has_transparent_color, requires_user_input, disposal_method)});
    set_property(*block, "DelayTime", int64_t{delay_time});
    set_property(*block, "TransparentColorIndex", int64_t{transparent_color_index});
    return block;
}

// The properties of a control block that are bits of its flags.
bool has_flag(const Record& block, int bit) {
    return (property_int(block, "Flags") & bit) != 0;
}
void set_flags(Record& block, int mask, int value) {
    set_property(block, "Flags", (property_int(block, "Flags") & ~int64_t{mask}) | value);
}
bool get_transparent(Record& self) {
    return has_flag(self, kTransparentBit);
}
void set_transparent(Record& self, bool value) {
    set_flags(self, kTransparentBit, value ? kTransparentBit : 0);
}
bool get_user_input(Record& self) {
    return has_flag(self, kUserInputBit);
}
void set_user_input(Record& self, bool value) {
    set_flags(self, kUserInputBit, value ? kUserInputBit : 0);
}
// The format defines no methods above the undefined one.
DisposalMethod get_disposal(Record& self) {
    const auto method = static_cast<DisposalMethod>(property_int(self, "Flags") >> kDisposalShift & kDisposalMask);
    return std::min(method, DisposalMethod::kUndefined);
}
void set_disposal(Record& self, DisposalMethod value) {
    set_flags(self, kDisposalMask << kDisposalShift, control_flags(false, false, value));
}

using GifApplicationExtensionBlockApi = api::FileFormats::Gif::Blocks::GifApplicationExtensionBlock;
using GifBlockApi = api::FileFormats::Gif::GifBlock;
using GifCommentBlockApi = api::FileFormats::Gif::Blocks::GifCommentBlock;
using GifGraphicsControlBlockApi = api::FileFormats::Gif::Blocks::GifGraphicsControlBlock;
using GifPlainTextRenderingBlockApi = api::FileFormats::Gif::Blocks::GifPlainTextRenderingBlock;
using GifUnknownExtensionBlockApi = api::FileFormats::Gif::Blocks::GifUnknownExtensionBlock;
using IGifBlockApi = api::FileFormats::Gif::IGifBlock;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&save, IGifBlockApi::call_000_Save, GifBlockApi::call_000_Save,
             GifApplicationExtensionBlockApi::call_000_Save, GifCommentBlockApi::call_000_Save,
             GifPlainTextRenderingBlockApi::call_000_Save, GifUnknownExtensionBlockApi::call_000_Save,
             GifGraphicsControlBlockApi::call_000_Save>(),
    behavior<&plain_text_block, GifPlainTextRenderingBlockApi::ctor_001_GifPlainTextRenderingBlock>(),
    behavior<&unknown_block, GifUnknownExtensionBlockApi::ctor_001_GifUnknownExtensionBlock>(),
    behavior<&control_flags, GifGraphicsControlBlockApi::call_000_CreateFlags>(),
    behavior<&control_block, GifGraphicsControlBlockApi::ctor_002_GifGraphicsControlBlock>(),
    behavior<&get_transparent, GifGraphicsControlBlockApi::get_HasTransparentColor>(),
    behavior<&set_transparent, GifGraphicsControlBlockApi::set_HasTransparentColor>(),
    behavior<&get_user_input, GifGraphicsControlBlockApi::get_UserInputExpected>(),
    behavior<&set_user_input, GifGraphicsControlBlockApi::set_UserInputExpected>(),
    behavior<&get_disposal, GifGraphicsControlBlockApi::get_DisposalMethod>(),
    behavior<&set_disposal, GifGraphicsControlBlockApi::set_DisposalMethod>(),
});

}  // namespace

const char* gif_block_class(uint8_t label) {
    switch (static_cast<GifLabel>(label)) {
        case GifLabel::kPlainText:
            return kPlainText;
        case GifLabel::kControl:
            return kControl;
        case GifLabel::kComment:
            return kComment;
        case GifLabel::kApplication:
            return kApplication;
        default:
            return kUnknown;
    }
}

Ref<ManagedObject> read_gif_block(ManagedStream& stream) {
    std::byte head[2]{};
    stream.read_exactly(head);
    if (std::to_integer<uint8_t>(head[0]) != kGifExtensionIntroducer) {
        throw_argument("A block of a GIF file begins with 33, not with " +
                       std::to_string(std::to_integer<int>(head[0])) + ".");
    }
    return block_of(std::to_integer<uint8_t>(head[1]), read_sub_blocks(stream));
}

void write_gif_block(const ManagedObject& block, ManagedStream& stream) {
    stream.write(bytes_of(block));
}

Ref<ManagedObject> gif_block_of_bytes(std::span<const uint8_t> bytes) {
    assert(bytes.size() >= 3 && bytes[0] == kGifExtensionIntroducer);
    const uint8_t label = bytes[1];
    std::vector<Bytes> blocks;
    for (size_t at = 2; at < bytes.size() && bytes[at] != 0;) {
        const size_t length = std::min<size_t>(bytes[at], bytes.size() - at - 1);
        const auto* first = reinterpret_cast<const std::byte*>(bytes.data()) + at + 1;
        blocks.emplace_back(first, first + length);
        at += 1 + length;
    }
    const auto has_fixed = [&](size_t count) { return !blocks.empty() && blocks.front().size() == count; };
    switch (static_cast<GifLabel>(label)) {
        case GifLabel::kControl:
            return has_fixed(kControlBytes) ? block_of(label, blocks) : unknown_of(label, blocks);
        case GifLabel::kApplication:
            return has_fixed(kIdentifierBytes + kCodeBytes) ? block_of(label, blocks) : unknown_of(label, blocks);
        case GifLabel::kPlainText:
            return has_fixed(kPlainTextBytes) ? block_of(label, blocks) : unknown_of(label, blocks);
        default:
            return block_of(label, blocks);
    }
}

std::vector<uint8_t> bytes_of_gif_block(const ManagedObject& block) {
    const Bytes bytes = bytes_of(block);
    const auto* first = reinterpret_cast<const uint8_t*>(bytes.data());
    return {first, first + bytes.size()};
}

bool is_gif_block(const ManagedObject& object, GifLabel label) {
    return object.type().full_name == std::string_view(gif_block_class(static_cast<uint8_t>(label)));
}

}  // namespace zelmor::embed
