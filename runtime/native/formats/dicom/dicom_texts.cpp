// Elements as text; see dicom_texts.h.
#include "runtime/native/formats/dicom/dicom_texts.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "runtime/native/formats/dicom/dicom_names.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostNumbers = 64;

bool is_utf8(const std::string& text) {
    size_t follow = 0;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (follow > 0) {
            if (byte >> 6 != 2) {
                return false;
            }
            follow--;
        } else if (byte >= 0xF5 || byte == 0xC0 || byte == 0xC1 || (byte >= 0x80 && byte < 0xC2)) {
            return false;
        } else {
            follow = byte < 0x80 ? 0 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
        }
    }
    return follow == 0;
}

// A text is UTF-8 if it can be; otherwise each byte is a character of Latin-1, which most other files have.
std::string readable(const std::string& text) {
    const bool utf8 = is_utf8(text);
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte < ' ' || byte == 0x7F) {
            result.push_back(' ');
        } else if (utf8 || byte < 0x80) {
            result.push_back(c);
        } else {
            result.push_back(static_cast<char>(0xC0 | byte >> 6));
            result.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
        }
    }
    return result;
}

std::string tag_text(DicomTag tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFF);
    return text;
}

std::string number_text(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    return {text, end.ptr};
}

std::string value_text(const ByteReader& in, const DicomElement& element) {
    switch (element.type) {
        case dicom_type("SQ"):
            return {};
        case dicom_type("US"):
        case dicom_type("SS"):
        case dicom_type("UL"):
        case dicom_type("SL"):
        case dicom_type("FL"):
        case dicom_type("FD"): {
            std::string text;
            for (size_t i = 0; const auto value = dicom_number(in, element, i); i++) {
                if (i == kMostNumbers) {
                    return text + "\\...";
                }
                text += (i > 0 ? "\\" : "") + number_text(*value);
            }
            return text;
        }
        case dicom_type("AT"): {
            const ByteReader own = in.in_order(element.order.big_endian);
            std::string text;
            for (uint64_t at = 0; at + 4 <= element.length && at < 4 * kMostNumbers; at += 4) {
                const DicomTag tag = DicomTag{own.u16(element.at + at)} << 16 | own.u16(element.at + at + 2);
                text += (at > 0 ? "\\" : "") + tag_text(tag);
            }
            return text;
        }
        case 0:
        case dicom_type("OB"):
        case dicom_type("OD"):
        case dicom_type("OF"):
        case dicom_type("OL"):
        case dicom_type("OV"):
        case dicom_type("OW"):
        case dicom_type("SV"):
        case dicom_type("UN"):
        case dicom_type("UV"):
            return element.length == kDicomUndefined ? "<pieces>" : "<" + std::to_string(element.length) + " bytes>";
        default:
            break;
    }
    return readable(dicom_text(in, element)) + (element.length > kMostDicomText ? "..." : "");
}

}  // namespace

std::vector<std::string> dicom_lines(const DicomFile& file) {
    SourceBytes bytes(file.source, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes);
    std::vector<std::string> lines;
    const auto take = [&](DicomWalk& walk, uint64_t end) {
        while (lines.size() < limits::kEntries && walk.position() < end) {
            const auto element = walk.next();
            if (!element) {
                return;
            }
            const DicomName* known = dicom_name(element->tag);
            std::string line(static_cast<size_t>(element->depth), '>');
            line += tag_text(element->tag) + " ";
            if (element->type != 0) {
                line.push_back(static_cast<char>(element->type >> 8));
                line.push_back(static_cast<char>(element->type & 0xFF));
                line.push_back(' ');
            }
            line += known != nullptr ? known->name : (element->tag >> 16 & 1) != 0 ? "(private)" : "(unknown)";
            const std::string value = value_text(in, *element);
            lines.push_back(line + ":" + (value.empty() ? "" : " " + value));
            if (element->tag == DicomWalk::kPixelData && element->depth == 0) {
                return;
            }
        }
    };
    constexpr uint64_t kBehindMark = 132;
    DicomWalk own(in, kBehindMark, {});
    take(own, file.header.data_set_at);
    DicomWalk data_set(in, file.header.data_set_at, file.header.order);
    take(data_set, UINT64_MAX);
    return lines;
}

}  // namespace zelmor::imagework
