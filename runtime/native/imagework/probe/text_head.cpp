// Words at the beginning of a file; see text_head.h.
#include "runtime/native/imagework/probe/text_head.h"

#include <algorithm>

namespace zelmor::imagework {
namespace {

constexpr std::string_view kSpace = " \t\r\n\f";

// Of UTF-16 in the order given.
std::string narrowed(std::span<const uint8_t> bytes, bool big_endian) {
    std::string text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[big_endian ? i : i + 1] == 0) {
            text.push_back(static_cast<char>(bytes[big_endian ? i + 1 : i]));
        }
    }
    return text;
}

// Where the markup that begins at `at` ends: behind its `end`.
size_t behind(std::string_view text, size_t at, std::string_view end) {
    const size_t found = text.find(end, at);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

// Behind a document type, which may have declarations in brackets and quotes.
size_t behind_document_type(std::string_view text, size_t at) {
    bool inside = false;
    for (; at < text.size(); at++) {
        const char c = text[at];
        if (c == '"' || c == '\'') {
            at = std::min(text.find(c, at + 1), text.size());
        } else if (c == '[' || c == ']') {
            inside = c == '[';
        } else if (c == '>' && !inside) {
            return at + 1;
        }
    }
    return text.size();
}

}  // namespace

std::string text_head(const ByteReader& file, size_t most, std::string_view beginnings) {
    constexpr size_t kLook = 64;
    std::string text;
    const auto read = [&](size_t count) {
        const auto bytes = file.piece(0, count);
        const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const bool big_endian = raw.starts_with("\xFE\xFF");
        if (big_endian || raw.starts_with("\xFF\xFE")) {
            text = narrowed(bytes.subspan(2), big_endian);
        } else {
            text = raw.substr(raw.starts_with("\xEF\xBB\xBF") ? 3 : 0);
        }
        text.erase(0, std::min(text.find_first_not_of(kSpace), text.size()));
    };
    // A file that cannot be such a text is looked at no further.
    read(kLook);
    const bool is_text = std::none_of(text.begin(), text.end(), [](char c) {
        return static_cast<uint8_t>(c) < ' ' && kSpace.find(c) == std::string_view::npos;
    });
    if (is_text && !text.empty() && beginnings.find(text[0]) != std::string_view::npos && most > kLook) {
        read(most);
    }
    return text;
}

std::string_view xml_root(std::string_view text) {
    for (size_t at = 0; at < text.size() && text[at] == '<';
         at = std::min(text.find_first_not_of(kSpace, at), text.size())) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<?")) {
            at = behind(text, at, "?>");
        } else if (rest.starts_with("<!--")) {
            at = behind(text, at, "-->");
        } else if (rest.starts_with("<!")) {
            at = behind_document_type(text, at);
        } else {
            const size_t end = rest.find_first_of(" \t\r\n\f/>");
            return end == std::string_view::npos ? std::string_view() : rest.substr(1, end - 1);
        }
    }
    return {};
}

}  // namespace zelmor::imagework
