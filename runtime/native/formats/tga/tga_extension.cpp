// The fields of the extension area; see tga_extension.h.
#include "runtime/native/formats/tga/tga_extension.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Where the fields stand. A text has one byte more than its characters, for the zero at its end.
constexpr size_t kAuthor = 2;
constexpr size_t kComments = 43;
constexpr size_t kDate = 367;
constexpr size_t kJob = 379;
constexpr size_t kJobTime = 420;
constexpr size_t kSoftware = 426;
constexpr size_t kVersion = 467;
constexpr size_t kVersionLetter = 469;
constexpr size_t kKeyColor = 470;
constexpr size_t kPixelAspect = 474;
constexpr size_t kGamma = 478;
constexpr size_t kCorrection = 482;
constexpr size_t kStamp = 486;
constexpr size_t kScanLines = 490;
constexpr size_t kAttributes = 494;
static_assert(kAttributes + 1 == TgaExtension::kSize);

}  // namespace

TgaExtension::TgaExtension() : m_bytes(kSize) {
    put_u16(0, kSize);
    set_version_letter(' ');
}

TgaExtension::TgaExtension(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {
    assert(m_bytes.size() >= kSize);
}

uint16_t TgaExtension::u16(size_t at) const {
    return static_cast<uint16_t>(m_bytes[at] | m_bytes[at + 1] << 8);
}

uint32_t TgaExtension::u32(size_t at) const {
    return u16(at) | static_cast<uint32_t>(u16(at + 2)) << 16;
}

void TgaExtension::put_u16(size_t at, unsigned value) {
    m_bytes[at] = static_cast<uint8_t>(value);
    m_bytes[at + 1] = static_cast<uint8_t>(value >> 8);
}

void TgaExtension::put_u32(size_t at, uint32_t value) {
    put_u16(at, value & 0xFFFF);
    put_u16(at + 2, value >> 16);
}

std::string TgaExtension::text(size_t at, size_t room) const {
    const auto begin = m_bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = begin + static_cast<std::ptrdiff_t>(room);
    return {begin, std::find(begin, end, 0)};
}

void TgaExtension::put_text(size_t at, size_t room, std::string_view text, const char* property) {
    if (text.size() > room) {
        throw PictureError(Failure::kArgument,
                           "a TGA file has room for " + std::to_string(room) + " bytes here, and the text has " +
                               std::to_string(text.size()),
                           property);
    }
    if (text.find('\0') != std::string_view::npos) {
        throw PictureError(Failure::kArgument, "the text has a zero character, which ends texts in TGA files",
                           property);
    }
    if (this->text(at, room + 1) == text) {
        return;  // the bytes behind its end stay
    }
    const auto to = m_bytes.begin() + static_cast<std::ptrdiff_t>(at);
    std::fill_n(to, room + 1, uint8_t{0});
    std::copy(text.begin(), text.end(), to);
}

std::string TgaExtension::author() const {
    return text(kAuthor, kTextBytes + 1);
}
void TgaExtension::set_author(std::string_view text) {
    put_text(kAuthor, kTextBytes, text, "AuthorName");
}

std::string TgaExtension::comments() const {
    std::string all;
    size_t used = 0;
    for (size_t line = 0; line < kCommentLines; line++) {
        all += (line == 0 ? "" : "\n") + text(kComments + line * (kCommentBytes + 1), kCommentBytes + 1);
        used = all.empty() || all.back() == '\n' ? used : all.size();
    }
    all.resize(used);
    return all;
}

void TgaExtension::set_comments(std::string_view text) {
    constexpr const char* kProperty = "AuthorComments";
    if (static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) >= kCommentLines) {
        throw PictureError(Failure::kArgument, "a TGA file has room for four lines here", kProperty);
    }
    std::array<std::string_view, kCommentLines> lines;
    for (std::string_view& line : lines) {
        const size_t end = text.find('\n');
        line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    TgaExtension changed = *this;  // a line that is refused changes none
    for (size_t i = 0; i < kCommentLines; i++) {
        changed.put_text(kComments + i * (kCommentBytes + 1), kCommentBytes, lines[i], kProperty);
    }
    *this = std::move(changed);
}

std::string TgaExtension::job() const {
    return text(kJob, kTextBytes + 1);
}
void TgaExtension::set_job(std::string_view text) {
    put_text(kJob, kTextBytes, text, "JobNameOrId");
}
std::string TgaExtension::software() const {
    return text(kSoftware, kTextBytes + 1);
}
void TgaExtension::set_software(std::string_view text) {
    put_text(kSoftware, kTextBytes, text, "SoftwareId");
}

TgaDate TgaExtension::date() const {
    return {u16(kDate), u16(kDate + 2), u16(kDate + 4), u16(kDate + 6), u16(kDate + 8), u16(kDate + 10)};
}
void TgaExtension::set_date(const TgaDate& date) {
    size_t at = kDate;
    for (const uint16_t number : {date.month, date.day, date.year, date.hour, date.minute, date.second}) {
        put_u16(at, number);
        at += 2;
    }
}

TgaTime TgaExtension::job_time() const {
    return {u16(kJobTime), u16(kJobTime + 2), u16(kJobTime + 4)};
}
void TgaExtension::set_job_time(const TgaTime& time) {
    put_u16(kJobTime, time.hours);
    put_u16(kJobTime + 2, time.minutes);
    put_u16(kJobTime + 4, time.seconds);
}

uint16_t TgaExtension::version_number() const {
    return u16(kVersion);
}
void TgaExtension::set_version_number(uint16_t number) {
    put_u16(kVersion, number);
}
char TgaExtension::version_letter() const {
    return static_cast<char>(m_bytes[kVersionLetter]);
}
void TgaExtension::set_version_letter(char letter) {
    m_bytes[kVersionLetter] = static_cast<uint8_t>(letter);
}

Argb TgaExtension::key_color() const {
    return u32(kKeyColor);
}
void TgaExtension::set_key_color(Argb color) {
    put_u32(kKeyColor, color);
}

TgaRatio TgaExtension::pixel_aspect() const {
    return {u16(kPixelAspect), u16(kPixelAspect + 2)};
}
void TgaExtension::set_pixel_aspect(const TgaRatio& ratio) {
    put_u16(kPixelAspect, ratio.numerator);
    put_u16(kPixelAspect + 2, ratio.denominator);
}
TgaRatio TgaExtension::gamma() const {
    return {u16(kGamma), u16(kGamma + 2)};
}
void TgaExtension::set_gamma(const TgaRatio& ratio) {
    put_u16(kGamma, ratio.numerator);
    put_u16(kGamma + 2, ratio.denominator);
}

TgaAttributes TgaExtension::attributes() const {
    return TgaAttributes{m_bytes[kAttributes]};
}
void TgaExtension::set_attributes(TgaAttributes attributes) {
    m_bytes[kAttributes] = static_cast<uint8_t>(attributes);
}

uint32_t TgaExtension::correction_at() const {
    return u32(kCorrection);
}
uint32_t TgaExtension::stamp_at() const {
    return u32(kStamp);
}
uint32_t TgaExtension::scan_lines_at() const {
    return u32(kScanLines);
}
void TgaExtension::set_places(uint32_t correction, uint32_t stamp, uint32_t scan_lines) {
    put_u32(kCorrection, correction);
    put_u32(kStamp, stamp);
    put_u32(kScanLines, scan_lines);
}

}  // namespace zelmor::imagework
