// The root element by its characters; see svg_root.h.
#include "runtime/native/formats/svg/svg_root.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "runtime/native/formats/svg/svg_units.h"

namespace zelmor::imagework {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

size_t behind_space(std::string_view text, size_t at) {
    return std::min(text.find_first_not_of(kSpace, at), text.size());
}

// Where the markup that begins at `at` ends: behind its `end`.
size_t behind(std::string_view text, size_t at, std::string_view end) {
    const size_t found = text.find(end, at);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

// Behind a document type. It may have declarations in brackets; these have texts in quotes and comments.
size_t behind_document_type(std::string_view text, size_t at) {
    bool inside = false;
    while (at < text.size()) {
        const char c = text[at];
        if (text.substr(at).starts_with("<!--")) {
            at = behind(text, at, "-->");
        } else if (text.substr(at).starts_with("<?")) {
            at = behind(text, at, "?>");
        } else if (c == '"' || c == '\'') {
            at = std::min(text.find(c, at + 1), text.size() - 1) + 1;
        } else if (c == '>' && !inside) {
            return at + 1;
        } else {
            inside = c == '[' || (inside && c != ']');
            ++at;
        }
    }
    return at;
}

void append_utf8(std::string& out, uint32_t code) {
    const auto add = [&](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0 | code >> 6), add(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        add(0xE0 | code >> 12), add(0x80 | (code >> 6 & 0x3F)), add(0x80 | (code & 0x3F));
    } else {
        add(0xF0 | code >> 18), add(0x80 | (code >> 12 & 0x3F)), add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    }
}

std::string from_utf16(std::span<const uint8_t> bytes, bool big_endian) {
    std::string text;
    const auto unit = [&](size_t i) {
        return static_cast<uint32_t>(big_endian ? bytes[i] << 8 | bytes[i + 1] : bytes[i + 1] << 8 | bytes[i]);
    };
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        uint32_t code = unit(i);
        if ((code & 0xFC00) == 0xD800 && i + 3 < bytes.size() && (unit(i + 2) & 0xFC00) == 0xDC00) {
            code = 0x10000 + ((code & 0x3FF) << 10) + (unit(i + 2) & 0x3FF);
            i += 2;
        } else if ((code & 0xF800) == 0xD800) {
            code = 0xFFFD;
        }
        append_utf8(text, code);
    }
    return text;
}

// A number at the beginning of the text, which goes on behind it.
std::optional<double> number(std::string_view& text) {
    text.remove_prefix(behind_space(text, 0));
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || !std::isfinite(value)) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return value;
}

// The pixels of a unit. A font has the size 12 where nothing else is said, and its small letters half of it.
std::optional<double> pixels_of_unit(std::string_view unit) {
    return unit == "em" ? 12 : unit == "ex" ? 6 : pixels_of_svg_unit(unit);
}

// The pixels of a length; nothing for a part of something, and for what is no length.
std::optional<double> pixels_of(std::string_view text) {
    const auto value = number(text);
    if (!value || *value <= 0) {
        return std::nullopt;
    }
    text = text.substr(0, text.find_last_not_of(kSpace) + 1);
    const std::optional<double> unit = pixels_of_unit(text);
    return unit ? std::optional(*value * *unit) : std::nullopt;
}

std::optional<SvgSize> view_box_size(std::string_view text) {
    std::array<double, 4> numbers{};
    for (double& each : numbers) {
        const auto value = number(text);
        if (!value) {
            return std::nullopt;
        }
        each = *value;
        text.remove_prefix(behind_space(text, 0));
        if (text.starts_with(',')) {
            text.remove_prefix(1);
        }
    }
    return numbers[2] > 0 && numbers[3] > 0 ? std::optional(SvgSize{numbers[2], numbers[3]}) : std::nullopt;
}

}  // namespace

std::string svg_text(std::span<const uint8_t> document) {
    const std::string_view raw(reinterpret_cast<const char*>(document.data()), document.size());
    const bool big_endian = raw.starts_with("\xFE\xFF");
    if (!big_endian && !raw.starts_with("\xFF\xFE")) {
        return std::string(raw.substr(raw.starts_with("\xEF\xBB\xBF") ? 3 : 0));
    }
    std::string text = from_utf16(document.subspan(2), big_endian);
    if (text.starts_with("<?xml")) {
        text.replace(0, behind(text, 0, "?>"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    }
    return text;
}

const SvgAttribute* SvgRoot::find(std::string_view attribute) const {
    for (const SvgAttribute& each : attributes) {
        if (each.name == attribute) {
            return &each;
        }
    }
    return nullptr;
}

std::optional<SvgRoot> svg_root(std::string_view text) {
    size_t at = behind_space(text, 0);
    while (at < text.size()) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<?")) {
            at = behind(text, at, "?>");
        } else if (rest.starts_with("<!--")) {
            at = behind(text, at, "-->");
        } else if (rest.starts_with("<!")) {
            at = behind_document_type(text, at);
        } else {
            break;
        }
        at = behind_space(text, at);
    }
    if (at >= text.size() || text[at] != '<') {
        return std::nullopt;
    }
    SvgRoot root;
    root.begin = at;
    const size_t name_end = std::min(text.find_first_of(" \t\r\n/>", at), text.size());
    root.name = text.substr(at + 1, name_end - at - 1);
    at = behind_space(text, name_end);
    while (at < text.size() && text[at] != '>' && text[at] != '/') {
        const size_t equals = text.find('=', at);
        if (equals == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view name = text.substr(at, equals - at);
        const size_t quote = behind_space(text, equals + 1);
        if (quote >= text.size() || (text[quote] != '"' && text[quote] != '\'')) {
            return std::nullopt;
        }
        const size_t end = text.find(text[quote], quote + 1);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        root.attributes.push_back(
            {name.substr(0, name.find_last_not_of(kSpace) + 1), text.substr(quote + 1, end - quote - 1), at, end + 1});
        at = behind_space(text, end + 1);
    }
    const size_t end = text.find('>', at);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    root.tag_end = end + 1;
    return root;
}

std::optional<size_t> svg_end(std::string_view text, const SvgRoot& root) {
    size_t end = text.size();
    for (;;) {
        end = text.substr(0, end).find_last_not_of(kSpace) + 1;
        const std::string_view before = text.substr(0, end);
        const bool comment = before.ends_with("-->"), instruction = before.ends_with("?>");
        if (!comment && !instruction) {
            return end >= root.tag_end && before.ends_with('>') ? std::optional(end) : std::nullopt;
        }
        end = before.rfind(comment ? "<!--" : "<?");
        if (end == std::string_view::npos || end < root.tag_end) {
            return std::nullopt;
        }
    }
}

SvgSize svg_size(const SvgRoot& root) {
    const auto value = [&](const char* name) {
        const SvgAttribute* attribute = root.find(name);
        return attribute == nullptr ? std::string_view() : attribute->value;
    };
    const auto width = pixels_of(value("width")), height = pixels_of(value("height"));
    const auto box = view_box_size(value("viewBox"));
    if (!box) {
        return {width.value_or(0), height.value_or(0)};
    }
    if (!width && !height) {
        return *box;
    }
    return {width ? *width : *height * box->width / box->height, height ? *height : *width * box->height / box->width};
}

}  // namespace zelmor::imagework
