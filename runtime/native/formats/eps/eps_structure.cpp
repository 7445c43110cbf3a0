// Headers, comments and previews of EPS files; see eps_structure.h.
#include "runtime/native/formats/eps/eps_structure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace zelmor::imagework {
namespace {

constexpr std::string_view kHeaderMark("\xC5\xD0\xD3\xC6", 4);
constexpr size_t kHeaderSize = 30;
// Comments are looked for so far from the beginning and the end of the text.
constexpr uint64_t kMostComments = uint64_t{1} << 16;
constexpr EpsBox kLetter{0, 0, 612, 792};

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Lines end with CR, LF or both.
class Lines {
 public:
    explicit Lines(std::string_view text) : m_rest(text) {}
    bool next(std::string_view& line) {
        if (m_rest.empty()) {
            return false;
        }
        const size_t end = std::min(m_rest.find_first_of("\r\n"), m_rest.size());
        line = m_rest.substr(0, end);
        const size_t step = m_rest.substr(end).starts_with("\r\n") ? 2 : 1;
        m_rest.remove_prefix(std::min(end + step, m_rest.size()));
        return true;
    }
    std::string_view rest() const { return m_rest; }

 private:
    std::string_view m_rest;
};

std::string latin_to_utf8(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xC0 | byte >> 6);
            result += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return result;
}

// A text of a comment: as it stands there, or a PostScript string in brackets.
std::string text_of(std::string_view value) {
    value = trimmed(value);
    if (!value.starts_with('(')) {
        return latin_to_utf8(value);
    }
    std::string result;
    int depth = 0;
    for (size_t i = 0; i < value.size(); i++) {
        const char c = value[i];
        if (c == '(' && depth++ == 0) {
            continue;
        }
        if (c == ')' && --depth == 0) {
            break;
        }
        if (c != '\\' || i + 1 == value.size()) {
            result += c;
            continue;
        }
        const char escape = value[++i];
        if (escape >= '0' && escape <= '7') {
            int code = 0;
            for (size_t n = 0; n < 3 && i < value.size() && value[i] >= '0' && value[i] <= '7'; n++) {
                code = code * 8 + (value[i++] - '0');
            }
            i--;
            result += static_cast<char>(code);
        } else {
            result += escape == 'n' ? '\n' : escape == 'r' ? '\r' : escape == 't' ? '\t' : escape;
        }
    }
    return latin_to_utf8(result);
}

std::optional<std::vector<double>> numbers_of(std::string_view text, size_t count) {
    std::vector<double> numbers;
    text = trimmed(text);
    while (numbers.size() < count) {
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || !std::isfinite(value) || std::abs(value) > 1e7) {
            return std::nullopt;
        }
        numbers.push_back(value);
        text = trimmed(text.substr(static_cast<size_t>(end - text.data())));
    }
    return numbers;
}

std::optional<EpsBox> box_of(std::string_view text) {
    const auto numbers = numbers_of(text, 4);
    if (!numbers || (*numbers)[2] <= (*numbers)[0] || (*numbers)[3] <= (*numbers)[1]) {
        return std::nullopt;
    }
    return EpsBox{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
}

bool take(std::string_view line, std::string_view name, std::string_view& value) {
    if (!line.starts_with(name)) {
        return false;
    }
    value = trimmed(line.substr(name.size()));
    return true;
}

std::string_view as_text(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The first one counts at the beginning of the file, the last one at its end.
class CommentReader {
 public:
    explicit CommentReader(EpsComments& comments) : m_comments(comments) {}

    void line(std::string_view line, bool at_end) {
        std::string_view value;
        const auto text = [&](std::string_view name, std::optional<std::string>& field) {
            if (take(line, name, value) && value != "(atend)" && (at_end || !field)) {
                field = text_of(value);
            }
        };
        text("%%Title:", m_comments.title);
        text("%%Creator:", m_comments.creator);
        text("%%CreationDate:", m_comments.creation_date);
        if (take(line, "%%BoundingBox:", value) && value != "(atend)" && (at_end ? !m_box : !m_comments.box_text)) {
            m_comments.box_text = std::string(value);
            m_comments.box = box_of(value);
            m_box = !at_end;
        }
        if (take(line, "%%HiResBoundingBox:", value) && value != "(atend)" && (at_end || !m_comments.exact_box)) {
            m_comments.exact_box = box_of(value);
        }
        if (take(line, "%%Pages:", value) && value != "(atend)") {
            if (const auto count = numbers_of(value, 1); count && (*count)[0] >= 0) {
                m_comments.pages = static_cast<int32_t>((*count)[0]);
            }
        }
    }

 private:
    EpsComments& m_comments;
    bool m_box = false;  // stood at the beginning
};

int hex_digit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

// Appends the bytes that the hexadecimal digits of the line stand for.
void add_hex(std::string_view line, std::vector<uint8_t>& bytes) {
    int high = -1;
    for (const char c : line) {
        const int digit = hex_digit(c);
        if (digit < 0) {
            continue;
        }
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
}

// Where a line begins with the text; npos for nowhere.
size_t find_line(std::string_view text, std::string_view begin, size_t from = 0) {
    for (size_t at = text.find(begin, from); at != std::string_view::npos; at = text.find(begin, at + 1)) {
        if (at == 0 || text[at - 1] == '\n' || text[at - 1] == '\r') {
            return at;
        }
    }
    return std::string_view::npos;
}

size_t row_size(const EpsPreview& preview) {
    return (static_cast<size_t>(preview.width) * static_cast<size_t>(preview.depth) + 7) / 8;
}

}  // namespace

EpsParts eps_parts(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    EpsParts parts;
    if (!in.starts_with(0, kHeaderMark)) {
        parts.text = {0, UINT64_MAX};
        return parts;
    }
    parts.has_header = true;
    parts.text = {in.u32(4), in.u32(8)};
    parts.wmf = {in.u32(12), in.u32(16)};
    parts.tiff = {in.u32(20), in.u32(24)};
    return parts;
}

EpsBox EpsComments::shown() const {
    return exact_box ? *exact_box : box ? *box : kLetter;
}

EpsComments eps_comments(const ByteReader& file, const EpsPart& text) {
    EpsComments comments;
    CommentReader reader(comments);
    const auto head_bytes = file.piece(text.at, std::min(text.size, kMostComments));
    const std::string head(as_text(head_bytes));
    Lines lines(head);
    std::string_view line;
    bool put_off = false;
    if (lines.next(line) && line.starts_with("%!")) {
        comments.version = latin_to_utf8(trimmed(line.substr(2)));
    }
    while (lines.next(line) && line.starts_with('%') && !line.starts_with("%%EndComments")) {
        put_off = put_off || line.ends_with("(atend)");
        reader.line(line, false);
    }
    while (lines.next(line)) {
        std::string_view value;
        if (take(line, "%%Page:", value)) {
            const size_t space = value.rfind(' ');
            if (const auto number = numbers_of(space == std::string_view::npos ? value : value.substr(space), 1)) {
                comments.page = static_cast<int32_t>((*number)[0]);
            }
            break;
        }
    }
    // The end is looked at in a file that lies in memory, whose size is known.
    if (put_off && text.size != UINT64_MAX && text.size > 0) {
        const uint64_t size = std::min(text.size, kMostComments);
        const std::string tail(as_text(file.piece(text.at + text.size - size, size)));
        const size_t trailer = tail.rfind("%%Trailer");
        Lines last(trailer == std::string::npos ? std::string_view() : std::string_view(tail).substr(trailer));
        while (last.next(line)) {
            reader.line(line, true);
        }
    }
    return comments;
}

std::optional<EpsPreview> eps_preview(std::string_view text) {
    const size_t begin = find_line(text, "%%BeginPreview:");
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    Lines lines(text.substr(begin));
    std::string_view line;
    lines.next(line);
    const auto numbers = numbers_of(line.substr(std::string_view("%%BeginPreview:").size()), 3);
    if (!numbers) {
        return std::nullopt;
    }
    EpsPreview preview;
    constexpr double kMostSide = 30000;
    const auto side = [&](size_t i) { return static_cast<int32_t>(std::clamp((*numbers)[i], 0.0, kMostSide)); };
    preview.width = side(0);
    preview.height = side(1);
    preview.depth = side(2);
    const int depth = preview.depth;
    if (preview.width == 0 || preview.height == 0 || (depth != 1 && depth != 2 && depth != 4 && depth != 8)) {
        return std::nullopt;
    }
    const size_t size = row_size(preview) * static_cast<size_t>(preview.height);
    while (preview.rows.size() < size && lines.next(line) && line.starts_with('%') && !line.starts_with("%%End")) {
        add_hex(line, preview.rows);
    }
    if (preview.rows.size() < size) {
        return std::nullopt;
    }
    preview.rows.resize(size);
    return preview;
}

std::string without_preview(std::string_view text) {
    const size_t begin = find_line(text, "%%BeginPreview:");
    const size_t end = begin == std::string_view::npos ? begin : find_line(text, "%%EndPreview", begin);
    if (end == std::string_view::npos) {
        return std::string(text);
    }
    Lines lines(text.substr(end));
    std::string_view line;
    lines.next(line);
    return std::string(text.substr(0, begin)).append(lines.rest());
}

std::string with_preview(std::string_view text, const EpsPreview& preview) {
    // Behind the line that ends the comments, or behind the first lines that are comments.
    Lines lines(text);
    std::string_view line;
    size_t at = 0;
    while (lines.next(line) && line.starts_with('%')) {
        at = text.size() - lines.rest().size();
        if (line.starts_with("%%EndComments")) {
            break;
        }
    }
    constexpr size_t kBytesOfLine = 36;
    const size_t row = row_size(preview);
    const size_t lines_of_row = (row + kBytesOfLine - 1) / kBytesOfLine;
    std::string made = "%%BeginPreview: " + std::to_string(preview.width) + ' ' + std::to_string(preview.height) + ' ' +
                       std::to_string(preview.depth) + ' ' +
                       std::to_string(lines_of_row * static_cast<size_t>(preview.height)) + '\n';
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (size_t y = 0; y < static_cast<size_t>(preview.height); y++) {
        for (size_t x = 0; x < row; x++) {
            if (x % kBytesOfLine == 0) {
                made += x == 0 ? "% " : "\n% ";
            }
            const uint8_t byte = preview.rows[y * row + x];
            made += kDigits[byte >> 4];
            made += kDigits[byte & 15];
        }
        made += '\n';
    }
    made += "%%EndPreview\n";
    std::string result(text.substr(0, at));
    if (!result.empty() && result.back() != '\n' && result.back() != '\r') {
        result += '\n';
    }
    return result.append(made).append(text.substr(at));
}

std::vector<uint8_t> eps_thumbnail(std::string_view text) {
    const size_t begin = find_line(text, "%BeginPhotoshop:");
    if (begin == std::string_view::npos) {
        return {};
    }
    Lines lines(text.substr(begin));
    std::string_view line;
    lines.next(line);
    std::vector<uint8_t> bytes;
    while (lines.next(line) && line.starts_with("% ")) {
        add_hex(line.substr(2), bytes);
    }
    // Blocks of a mark, a number, a name, a size, and data; each is filled up to an even size.
    const ByteReader in(bytes, true);
    constexpr uint16_t kThumbnail = 1036;
    constexpr uint64_t kThumbnailHeader = 28;
    uint64_t at = 0;
    while (in.starts_with(at, "8BIM") && in.has(at, 12)) {
        const uint16_t number = in.u16(at + 4);
        const uint64_t name = (uint64_t{in.u8(at + 6)} + 2) & ~uint64_t{1};
        const uint64_t size = in.u32(at + 6 + name);
        const uint64_t data = at + 10 + name;
        if (number == kThumbnail && size > kThumbnailHeader && in.has(data, size) && in.u32(data) == 1) {
            const auto jpeg = in.piece(data + kThumbnailHeader, size - kThumbnailHeader);
            return {jpeg.begin(), jpeg.end()};
        }
        at = data + size + (size & 1);
    }
    return {};
}

std::optional<EpsDate> eps_date(std::string_view text) {
    const std::string line(text.substr(0, 100));
    EpsDate date;
    const auto valid = [&]() -> std::optional<EpsDate> {
        constexpr std::array kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        const bool leap = date.year % 4 == 0 && (date.year % 100 != 0 || date.year % 400 == 0);
        if (date.year < 1 || date.year > 9999 || date.month < 1 || date.month > 12 || date.day < 1 ||
            date.day > kDays[static_cast<size_t>(date.month - 1)] + (leap && date.month == 2 ? 1 : 0) ||
            date.hour < 0 || date.hour > 23 || date.minute < 0 || date.minute > 59 || date.second < 0 ||
            date.second > 59) {
            return std::nullopt;
        }
        return date;
    };
    char word[4] = {}, month[4] = {}, half[3] = {};
    const auto month_number = [&] {
        constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
        const size_t at = kMonths.find(month);
        date.month = at != std::string_view::npos && at % 3 == 0 ? static_cast<int>(at / 3) + 1 : 0;
    };
    // The library reads no more digits than the field is wide.
    if (std::sscanf(line.c_str(), "%3s %3s %2d %2d:%2d:%2d %4d", word, month, &date.day, &date.hour, &date.minute,
                    &date.second, &date.year) == 7) {
        month_number();
        return valid();
    }
    date = {};
    if (std::sscanf(line.c_str(), "D:%4d%2d%2d%2d%2d%2d", &date.year, &date.month, &date.day, &date.hour, &date.minute,
                    &date.second) >= 3) {
        return valid();
    }
    date = {};
    if (std::sscanf(line.c_str(), "%4d-%2d-%2d%*[T ]%2d:%2d:%2d", &date.year, &date.month, &date.day, &date.hour,
                    &date.minute, &date.second) >= 3) {
        return valid();
    }
    date = {};
    if (std::sscanf(line.c_str(), "%4d/%2d/%2d %2d:%2d:%2d", &date.year, &date.month, &date.day, &date.hour,
                    &date.minute, &date.second) >= 3 &&
        date.year > 31) {
        return valid();
    }
    date = {};
    if (std::sscanf(line.c_str(), "%2d/%2d/%4d %2d:%2d %2s", &date.month, &date.day, &date.year, &date.hour,
                    &date.minute, half) >= 3) {
        date.year += date.year < 70 ? 2000 : date.year < 100 ? 1900 : 0;
        const bool afternoon = half[0] == 'P' || half[0] == 'p';
        if (afternoon && date.hour < 12) {
            date.hour += 12;
        } else if ((half[0] == 'A' || half[0] == 'a') && date.hour == 12) {
            date.hour = 0;
        }
        return valid();
    }
    date = {};
    if (std::sscanf(line.c_str(), "%2d %3s %4d %2d:%2d:%2d", &date.day, month, &date.year, &date.hour, &date.minute,
                    &date.second) >= 3) {
        month_number();
        return valid();
    }
    return std::nullopt;
}

std::vector<uint8_t> eps_with_header(std::span<const uint8_t> text, std::span<const uint8_t> wmf,
                                     std::span<const uint8_t> tiff) {
    std::vector<uint8_t> file(kHeaderMark.begin(), kHeaderMark.end());
    const auto number = [&](uint64_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            file.push_back(static_cast<uint8_t>(value >> shift));
        }
    };
    uint64_t at = kHeaderSize;
    for (const auto& part : {text, wmf, tiff}) {
        number(part.empty() ? 0 : at);
        number(part.size());
        at += part.size();
    }
    file.push_back(0xFF);  // no checksum
    file.push_back(0xFF);
    for (const auto& part : {text, wmf, tiff}) {
        file.insert(file.end(), part.begin(), part.end());
    }
    return file;
}

}  // namespace zelmor::imagework
