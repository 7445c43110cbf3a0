// Tags and their values; see tiff_tags.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tag_lists.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

struct TagClass {
    TiffType type;
    Wire element;  // kVoid for text and undefined bytes
    size_t size;
    const char* name;
};
constexpr TagClass kClasses[] = {
    {TiffType::kByte, Wire::kUInt8, 1, api::FileFormats::Tiff::TiffTagTypes::TiffByteType::kType.name},
    {TiffType::kAscii, Wire::kVoid, 1, api::FileFormats::Tiff::TiffTagTypes::TiffASCIIType::kType.name},
    {TiffType::kShort, Wire::kUInt16, 2, api::FileFormats::Tiff::TiffTagTypes::TiffShortType::kType.name},
    {TiffType::kLong, Wire::kUInt32, 4, api::FileFormats::Tiff::TiffTagTypes::TiffLongType::kType.name},
    {TiffType::kRational, Wire::kClass, 8, api::FileFormats::Tiff::TiffTagTypes::TiffRationalType::kType.name},
    {TiffType::kSbyte, Wire::kInt8, 1, api::FileFormats::Tiff::TiffTagTypes::TiffSByteType::kType.name},
    {TiffType::kUndefined, Wire::kVoid, 1, api::FileFormats::Tiff::TiffTagTypes::TiffUndefinedType::kType.name},
    {TiffType::kSshort, Wire::kInt16, 2, api::FileFormats::Tiff::TiffTagTypes::TiffSShortType::kType.name},
    {TiffType::kSlong, Wire::kInt32, 4, api::FileFormats::Tiff::TiffTagTypes::TiffSLongType::kType.name},
    {TiffType::kSrational, Wire::kClass, 8, api::FileFormats::Tiff::TiffTagTypes::TiffSRationalType::kType.name},
    {TiffType::kFloat, Wire::kSingle, 4, api::FileFormats::Tiff::TiffTagTypes::TiffFloatType::kType.name},
    {TiffType::kDouble, Wire::kDouble, 8, api::FileFormats::Tiff::TiffTagTypes::TiffDoubleType::kType.name},
    {TiffType::kIfd, Wire::kUInt32, 4, api::FileFormats::Tiff::TiffTagTypes::TiffIfdType::kType.name},
    {TiffType::kLong8, Wire::kUInt64, 8, api::FileFormats::Tiff::TiffTagTypes::TiffLong8Type::kType.name},
    {TiffType::kSLong8, Wire::kInt64, 8, api::FileFormats::Tiff::TiffTagTypes::TiffSLong8Type::kType.name},
    {TiffType::kIfd8, Wire::kUInt64, 8, api::FileFormats::Tiff::TiffTagTypes::TiffIfd8Type::kType.name},
};

const TagClass* find_class(uint16_t type) {
    for (const TagClass& known : kClasses) {
        if (static_cast<uint16_t>(known.type) == type) {
            return &known;
        }
    }
    return nullptr;
}
const TagClass& class_of(TiffType type) {
    const TagClass* known = find_class(static_cast<uint16_t>(type));
    assert(known != nullptr);
    return *known;
}

const ElementType& element_of(const TagClass& tag) {
    if (tag.element != Wire::kClass) {
        return embed::element_of(tag.element);
    }
    const bool is_signed = tag.type == TiffType::kSrational;
    return embed::element_of(Wire::kClass, is_signed ? RationalObject::kSignedName : RationalObject::kManagedName);
}

bool is_signed_type(TiffType type) {
    return type == TiffType::kSbyte || type == TiffType::kSshort || type == TiffType::kSlong ||
           type == TiffType::kSrational || type == TiffType::kSLong8;
}

[[noreturn]] void throw_no_value(const Value& value, const TagClass& tag) {
    const bool text = tag.type == TiffType::kAscii, plain = tag.type == TiffType::kUndefined;
    throw_invalid_value_cast(value, text ? "System.String" : plain ? "System.Byte" : element_of(tag).name);
}

// A fraction made from a fraction of either kind or from a number.
Value fraction(const Value& value, const TagClass& tag) {
    const bool is_signed = tag.type == TiffType::kSrational;
    if (const auto* whole = std::get_if<int64_t>(&value)) {
        return make_rational(*whole, 1, is_signed);
    }
    if (const auto* real = std::get_if<double>(&value)) {
        return approximate_rational(*real, kRationalEpsilon, is_signed);
    }
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    const auto* rational = object != nullptr ? dynamic_cast<const RationalObject*>(object->get()) : nullptr;
    if (rational == nullptr) {
        throw_no_value(value, tag);
    }
    if (&rational->type() == element_of(tag).type()) {
        return value;
    }
    return make_rational(rational->nominator(), rational->denominator(), is_signed);
}

Value element_value(const Value& value, const TagClass& tag) {
    if (tag.element == Wire::kClass) {
        return fraction(value, tag);
    }
    const bool real = tag.element == Wire::kSingle || tag.element == Wire::kDouble;
    const bool number = std::holds_alternative<int64_t>(value) || std::holds_alternative<uint64_t>(value);
    if (!number && !(real && std::holds_alternative<double>(value))) {
        throw_no_value(value, tag);
    }
    return value;
}

bool is_list(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    return object != nullptr && dynamic_cast<const ManagedCollection*>(object->get()) != nullptr;
}

Bytes bytes_in(const Value& value, const TagClass& tag) {
    if (const auto* bytes = std::get_if<Bytes>(&value)) {
        return *bytes;
    }
    Bytes result;
    for (const Value& item : elements_of_value(value)) {
        const auto* number = std::get_if<int64_t>(&item);
        if (number == nullptr) {
            throw_no_value(item, tag);
        }
        if (*number < 0 || *number > 255) {
            throw ManagedException("OverflowException", "The number " + std::to_string(*number) + " is no byte.");
        }
        result.push_back(static_cast<std::byte>(*number));
    }
    return result;
}

uint64_t bits_of(const Value& value, const TagClass& tag) {
    if (const auto* real = std::get_if<double>(&value)) {
        return tag.size == 4 ? std::bit_cast<uint32_t>(static_cast<float>(*real)) : std::bit_cast<uint64_t>(*real);
    }
    if (const auto* number = std::get_if<uint64_t>(&value)) {
        return *number;
    }
    return static_cast<uint64_t>(std::get<int64_t>(value));
}

Value value_of_bits(uint64_t bits, const TagClass& tag) {
    if (tag.element == Wire::kSingle) {
        return double{std::bit_cast<float>(static_cast<uint32_t>(bits))};
    }
    if (tag.element == Wire::kDouble) {
        return std::bit_cast<double>(bits);
    }
    if (!is_signed_type(tag.type)) {
        return unsigned_value(bits);
    }
    const size_t unused = 64 - 8 * tag.size;
    return static_cast<int64_t>(bits << unused) >> unused;
}

// Text that is not UTF-8 was written in an unknown encoding of one byte to a letter; it is read as Latin-1.
std::u16string text_of_bytes(std::span<const std::byte> data) {
    size_t size = data.size();
    if (size > 0 && data[size - 1] == std::byte{0}) {
        --size;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data.data()), size);
    std::u16string text = to_utf16(bytes);
    if (text.find(u'\uFFFD') == std::u16string::npos || bytes.find("\xEF\xBF\xBD") != std::string_view::npos) {
        return text;
    }
    text.clear();
    for (const char c : bytes) {
        text += static_cast<char16_t>(static_cast<unsigned char>(c));
    }
    return text;
}

}  // namespace

size_t tiff_element_size(uint16_t type) {
    const TagClass* known = find_class(type);
    return known != nullptr ? known->size : 0;
}

TagObject::TagObject(const TypeInfo& type, TiffType data_type, uint16_t id)
    : ManagedObject(type), m_id(id), m_data_type(data_type) {}

uint64_t TagObject::count() const {
    if (m_list) {
        return m_list->size();
    }
    if (m_bytes) {
        return m_bytes->size();
    }
    return m_text ? to_utf8(*m_text).size() + 1 : 0;
}

Value TagObject::value() const {
    if (m_text) {
        return *m_text;
    }
    if (m_bytes) {
        return *m_bytes;
    }
    if (m_list && m_data_type == TiffType::kByte) {
        return encoded(false);
    }
    return Ref<ManagedObject>(m_list);
}

Ref<ManagedList> TagObject::values() const {
    return m_list;
}

void TagObject::assign(const Value& value) {
    const TagClass& tag = class_of(m_data_type);
    if (is_null(value)) {
        m_list = nullptr;
        m_text.reset();
        m_bytes.reset();
        return;
    }
    if (m_data_type == TiffType::kAscii) {
        const auto* text = std::get_if<std::u16string>(&value);
        if (text == nullptr) {
            throw_no_value(value, tag);
        }
        m_text = *text;
        return;
    }
    if (m_data_type == TiffType::kUndefined) {
        m_bytes = bytes_in(value, tag);
        return;
    }
    // An array of just this kind is kept itself.
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value)) {
        auto* list = dynamic_cast<ManagedList*>(object->get());
        if (list != nullptr && list->shape() == ListShape::kArray && &list->element() == &element_of(tag)) {
            m_list = Ref<ManagedList>(list);
            return;
        }
    }
    std::vector<Value> items;
    if (const auto* bytes = std::get_if<Bytes>(&value); bytes != nullptr && tag.size == 1) {
        for (const std::byte byte : *bytes) {
            items.push_back(value_of_bits(std::to_integer<uint64_t>(byte), tag));
        }
    } else if (is_list(value)) {
        items = elements_of_value(value);
    } else {
        items.push_back(value);
    }
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(tag), items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        list->set(i, element_value(items[i], tag));
    }
    m_list = std::move(list);
}

Bytes TagObject::encoded(bool big_endian) const {
    Bytes out;
    if (m_bytes) {
        return *m_bytes;
    }
    if (m_text) {
        const std::string utf8 = to_utf8(*m_text);
        const auto* data = reinterpret_cast<const std::byte*>(utf8.data());
        out.assign(data, data + utf8.size());
        out.push_back(std::byte{0});
    }
    if (!m_list) {
        return out;
    }
    const TagClass& tag = class_of(m_data_type);
    for (size_t i = 0; i < m_list->size(); ++i) {
        const Value item = m_list->get(i);
        if (tag.element != Wire::kClass) {
            put_number(out, bits_of(item, tag), tag.size, big_endian);
            continue;
        }
        const auto& object = std::get<Ref<ManagedObject>>(item);
        const auto* rational = object != nullptr ? &cast_object<RationalObject>(*object) : nullptr;
        put_number(out, static_cast<uint64_t>(rational != nullptr ? rational->nominator() : 0), 4, big_endian);
        put_number(out, static_cast<uint64_t>(rational != nullptr ? rational->denominator() : 0), 4, big_endian);
    }
    return out;
}

void TagObject::decode(std::span<const std::byte> data, bool big_endian) {
    if (m_data_type == TiffType::kAscii) {
        m_text = text_of_bytes(data);
        return;
    }
    if (m_data_type == TiffType::kUndefined) {
        m_bytes = Bytes(data.begin(), data.end());
        return;
    }
    const TagClass& tag = class_of(m_data_type);
    const size_t count = data.size() / tag.size;
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(tag), count);
    for (size_t i = 0; i < count; ++i) {
        const auto item = data.subspan(i * tag.size, tag.size);
        if (tag.element != Wire::kClass) {
            list->set(i, value_of_bits(read_number(item, big_endian), tag));
            continue;
        }
        const bool is_signed = tag.type == TiffType::kSrational;
        const auto part = [&](size_t at) {
            const auto bits = static_cast<uint32_t>(read_number(item.subspan(at, 4), big_endian));
            return is_signed ? int64_t{static_cast<int32_t>(bits)} : int64_t{bits};
        };
        list->set(i, make_rational(part(0), part(4), is_signed));
    }
    m_list = std::move(list);
}

bool TagObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const TagObject*>(&other);
    return same != nullptr && &same->type() == &type() && same->m_id == m_id && same->encoded(false) == encoded(false);
}

int32_t TagObject::hash_code() const {
    return static_cast<int32_t>(m_id << 8 | static_cast<int>(m_data_type));
}

Ref<ManagedObject> TagObject::copy() const {
    auto twin = make_ref<TagObject>(type(), m_data_type, m_id);
    if (m_list) {
        // Fractions never change, so that the elements may be shared.
        twin->m_list = make_list(ListShape::kArray, m_list->element(), m_list->size());
        for (size_t i = 0; i < m_list->size(); ++i) {
            twin->m_list->set(i, m_list->get(i));
        }
    }
    twin->m_text = m_text;
    twin->m_bytes = m_bytes;
    return twin;
}

UnknownTagObject::UnknownTagObject(Ref<TiffReaderObject> reader, uint16_t type, uint16_t id, uint64_t count,
                                   uint64_t offset_or_value)
    : TagObject(require_type(kManagedName), static_cast<TiffType>(type), id),
      m_reader(std::move(reader)),
      m_count(count),
      m_offset_or_value(offset_or_value) {
    track();
}

void UnknownTagObject::references(ReferenceVisitor& visitor) {
    visitor(m_reader);
    visitor(m_value);
}

Ref<ManagedObject> UnknownTagObject::copy() const {
    auto twin =
        make_ref<UnknownTagObject>(m_reader, static_cast<uint16_t>(data_type()), id(), m_count, m_offset_or_value);
    twin->m_value = m_value;
    return twin;
}

Ref<TagObject> make_tag(uint16_t data_type, uint16_t id) {
    const TagClass* known = find_class(data_type);
    if (known == nullptr) {
        return nullptr;
    }
    return make_ref<TagObject>(require_type(known->name), known->type, id);
}

Ref<TagObject> make_tag(TiffType data_type, uint16_t id, const Value& value) {
    auto tag = make_tag(static_cast<uint16_t>(data_type), id);
    tag->assign(value);
    return tag;
}

uint64_t tag_bytes(TiffReaderObject& reader, int64_t position) {
    const uint64_t size = tiff_element_size(static_cast<uint16_t>(reader.number(position + 2, 2)));
    uint64_t bytes = 0;
    const uint64_t count = reader.number(position + 4, inline_size(reader.big_tiff()));
    return __builtin_mul_overflow(count, size, &bytes) ? UINT64_MAX : bytes;
}

Ref<TagObject> read_tag(TiffReaderObject& reader, int64_t position) {
    const size_t word = inline_size(reader.big_tiff());
    const auto id = static_cast<uint16_t>(reader.number(position, 2));
    const auto type = static_cast<uint16_t>(reader.number(position + 2, 2));
    const uint64_t count = reader.number(position + 4, word);
    const int64_t field = position + 4 + static_cast<int64_t>(word);
    const uint64_t offset_or_value = reader.number(field, word);
    const size_t size = tiff_element_size(type);
    if (size == 0) {
        return make_ref<UnknownTagObject>(Ref<TiffReaderObject>(&reader), type, id, count, offset_or_value);
    }
    auto tag = make_tag(type, id);
    const bool in_place = count <= word && count * size <= word;
    const int64_t at = in_place ? field : static_cast<int64_t>(std::min<uint64_t>(offset_or_value, INT64_MAX));
    const auto most = static_cast<int64_t>(std::min<uint64_t>(count, INT64_MAX));
    Bytes data(static_cast<size_t>(reader.checked_count(at, most, size)) * size);
    reader.read(at, data);
    tag->decode(data, reader.big_endian());
    return tag;
}

std::optional<int64_t> tag_integer(const TagObject& tag, size_t index) {
    const auto values = tag.values();
    if (!values || index >= values->size()) {
        return std::nullopt;
    }
    const Value value = values->get(index);
    if (const auto* number = std::get_if<int64_t>(&value)) {
        return *number;
    }
    if (const auto* number = std::get_if<uint64_t>(&value)) {
        return static_cast<int64_t>(*number);
    }
    return std::nullopt;
}

}  // namespace zelmor::embed
