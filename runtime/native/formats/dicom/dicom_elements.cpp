// Walking over the elements of a file; see dicom_elements.h.
#include "runtime/native/formats/dicom/dicom_elements.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

#include "runtime/native/formats/dicom/dicom_names.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostDepth = 64;
constexpr DicomTag kItem = 0xFFFEE000;
constexpr DicomTag kItemEnd = 0xFFFEE00D;
constexpr DicomTag kSequenceEnd = 0xFFFEE0DD;
constexpr DicomType kSequenceType = dicom_type("SQ");
constexpr DicomType kUnknownType = dicom_type("UN");
constexpr uint64_t kShortHeader = 8;
constexpr uint64_t kLongHeader = 12;

bool is_letter(uint8_t byte) {
    return byte >= 'A' && byte <= 'Z';
}

}  // namespace

bool has_long_length(DicomType type) {
    static constexpr DicomType kLong[] = {dicom_type("OB"), dicom_type("OD"), dicom_type("OF"), dicom_type("OL"),
                                          dicom_type("OV"), dicom_type("OW"), dicom_type("SQ"), dicom_type("SV"),
                                          dicom_type("UC"), dicom_type("UN"), dicom_type("UR"), dicom_type("UT"),
                                          dicom_type("UV")};
    return std::find(std::begin(kLong), std::end(kLong), type) != std::end(kLong);
}

DicomWalk::DicomWalk(const ByteReader& file, uint64_t at, DicomOrder order) : m_file(file), m_order(order), m_at(at) {}

bool DicomWalk::push(Kind kind, uint32_t length, DicomOrder order) {
    if (m_levels.size() == kMostDepth) {
        return false;
    }
    m_levels.push_back({kind, length == kDicomUndefined ? UINT64_MAX : m_at + length, order});
    return true;
}

// Items, and the ends of items and sequences. False where such a thing has no place.
bool DicomWalk::step_over_delimiter(DicomTag tag, uint32_t length) {
    if (m_levels.empty()) {
        return false;
    }
    const Kind kind = m_levels.back().kind;
    m_at += kShortHeader;
    if (tag == kItem && kind == Kind::kFragments) {
        m_at += length;
        return length != kDicomUndefined;
    }
    if (tag == kItem && kind == Kind::kSequence) {
        return push(Kind::kItem, length, order());
    }
    if ((tag == kItemEnd && kind == Kind::kItem) || (tag == kSequenceEnd && kind != Kind::kItem)) {
        m_levels.pop_back();
        return true;
    }
    return false;
}

std::optional<DicomElement> DicomWalk::next() {
    while (!m_done) {
        while (!m_levels.empty() && m_at >= m_levels.back().end) {
            m_levels.pop_back();
        }
        const ByteReader in = reader();
        const DicomTag tag = DicomTag{in.u16(m_at)} << 16 | in.u16(m_at + 2);
        if (tag >> 16 == 0xFFFE) {
            m_done = !step_over_delimiter(tag, in.u32(m_at + 4)) || !in.ok();
            continue;
        }
        DicomElement element;
        element.tag = tag;
        element.order = order();
        element.header_at = m_at;
        element.depth = static_cast<int>(m_levels.size() / 2);  // an element lies in an item, each item in a sequence
        if (element.order.explicit_types) {
            const uint8_t letters[] = {in.u8(m_at + 4), in.u8(m_at + 5)};
            element.type = static_cast<DicomType>(letters[0] << 8 | letters[1]);
            const bool is_long = has_long_length(element.type);
            element.length = is_long ? in.u32(m_at + 8) : in.u16(m_at + 6);
            element.at = m_at + (is_long ? kLongHeader : kShortHeader);
            m_done = !is_letter(letters[0]) || !is_letter(letters[1]);
        } else {
            element.length = in.u32(m_at + 4);
            element.at = m_at + kShortHeader;
            const DicomName* known = dicom_name(tag);
            element.type = known != nullptr ? known->type : DicomType{0};
        }
        const bool in_sequence = !m_levels.empty() && m_levels.back().kind != Kind::kItem;
        if (m_done || !in.ok() || in_sequence) {
            m_done = true;
            return std::nullopt;
        }
        const bool undefined = element.length == kDicomUndefined;
        m_at = element.at;
        if (tag == kPixelData && undefined) {
            if (m_levels.empty()) {
                m_done = true;  // what follows are pieces of pictures
                return element;
            }
            m_done = !push(Kind::kFragments, element.length, element.order);
        } else if (element.type == kSequenceType || undefined) {
            // A sequence of a type that its writer did not know is as in files without types.
            const DicomOrder inside = element.type == kUnknownType ? DicomOrder{false, false} : element.order;
            m_done = !push(Kind::kSequence, element.length, inside);
        } else {
            m_at += element.length;
        }
        return element;
    }
    return std::nullopt;
}

std::string dicom_text(const ByteReader& file, const DicomElement& element, uint64_t most) {
    if (element.length == kDicomUndefined) {
        return {};
    }
    const auto bytes = file.piece(element.at, std::min<uint64_t>(element.length, most));
    std::string text(bytes.begin(), bytes.end());
    const auto is_padding = [](char c) { return c == ' ' || c == '\0'; };
    while (!text.empty() && is_padding(text.back())) {
        text.pop_back();
    }
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), is_padding));
    return text;
}

std::optional<double> dicom_number(const ByteReader& file, const DicomElement& element, size_t index) {
    const ByteReader in = file.in_order(element.order.big_endian);
    const auto inside = [&](size_t size) { return element.length / size > index && element.length != kDicomUndefined; };
    const auto number = [&](size_t size, auto read) -> std::optional<double> {
        if (!inside(size)) {
            return std::nullopt;
        }
        const double value = read(element.at + index * size);
        return in.ok() ? std::optional(value) : std::nullopt;
    };
    switch (element.type) {
        case dicom_type("US"):
            return number(2, [&](uint64_t at) { return static_cast<double>(in.u16(at)); });
        case dicom_type("SS"):
            return number(2, [&](uint64_t at) { return static_cast<double>(static_cast<int16_t>(in.u16(at))); });
        case dicom_type("UL"):
            return number(4, [&](uint64_t at) { return static_cast<double>(in.u32(at)); });
        case dicom_type("SL"):
            return number(4, [&](uint64_t at) { return static_cast<double>(in.i32(at)); });
        case dicom_type("FL"):
            return number(4, [&](uint64_t at) { return static_cast<double>(std::bit_cast<float>(in.u32(at))); });
        case dicom_type("FD"):
            return number(8, [&](uint64_t at) { return std::bit_cast<double>(in.u64(at)); });
        default:
            break;
    }
    // Texts of numbers with backslashes between them.
    const std::string text = dicom_text(file, element);
    size_t from = 0;
    for (; index > 0; index--) {
        from = text.find('\\', from);
        if (from == std::string::npos) {
            return std::nullopt;
        }
        from++;
    }
    from = std::min(text.find_first_not_of(" +", from), text.size());
    double value = 0;
    const auto read = std::from_chars(text.data() + from, text.data() + text.size(), value);
    return read.ec == std::errc() && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

uint32_t dicom_count(const ByteReader& file, const DicomElement& element, size_t index) {
    const double value = dicom_number(file, element, index).value_or(0);
    return value >= 0 && value <= 4294967295.0 ? static_cast<uint32_t>(value) : 0;
}

}  // namespace zelmor::imagework
