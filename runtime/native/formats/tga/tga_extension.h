// The extension area of a TGA file: author, dates, software, colors, and the places of three tables.
//
// The area is kept as the bytes of the file, and the members read and change its fields in place. So an area in which
// nothing was changed is written as it was, with the bytes behind the end of its texts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_EXTENSION_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_EXTENSION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the format. Others may occur.
enum class TgaAttributes : uint8_t {
    kNone = 0,      // there is no alpha
    kIgnored = 1,   // there are bits for it, which mean nothing
    kRetained = 2,  // they mean nothing to others, but are to be kept
    kAlpha = 3,
    kPremultiplied = 4,
};

struct TgaDate {
    uint16_t month = 0;  // all zero: there is no date
    uint16_t day = 0;
    uint16_t year = 0;
    uint16_t hour = 0;
    uint16_t minute = 0;
    uint16_t second = 0;
    bool operator==(const TgaDate&) const = default;
};

struct TgaTime {
    uint16_t hours = 0;
    uint16_t minutes = 0;
    uint16_t seconds = 0;
    bool operator==(const TgaTime&) const = default;
};

struct TgaRatio {
    uint16_t numerator = 0;
    uint16_t denominator = 0;  // 0: there is no number
    bool operator==(const TgaRatio&) const = default;
};

class TgaExtension {
 public:
    static constexpr size_t kSize = 495;
    static constexpr size_t kTextBytes = 40;  // of a name
    static constexpr size_t kCommentLines = 4;
    static constexpr size_t kCommentBytes = 80;  // of a line of the comment

    // An area without content.
    TgaExtension();
    // The bytes of a file, at least kSize; later versions of the format may have more, which are kept.
    explicit TgaExtension(std::vector<uint8_t> bytes);

    const std::vector<uint8_t>& bytes() const { return m_bytes; }

    // Texts are bytes without a stated encoding, up to the first zero. PictureError(kArgument), with the name of the
    // property, for a text that has no room.
    std::string author() const;
    void set_author(std::string_view text);
    // The lines up to the last that is not empty, with a line feed between them.
    std::string comments() const;
    void set_comments(std::string_view text);
    std::string job() const;
    void set_job(std::string_view text);
    std::string software() const;
    void set_software(std::string_view text);

    TgaDate date() const;
    void set_date(const TgaDate& date);
    TgaTime job_time() const;
    void set_job_time(const TgaTime& time);
    uint16_t version_number() const;  // hundred times the version: 110 is 1.10
    void set_version_number(uint16_t number);
    char version_letter() const;  // a space for none
    void set_version_letter(char letter);
    Argb key_color() const;  // of the area that is no picture; 0 where the file says nothing
    void set_key_color(Argb color);
    TgaRatio pixel_aspect() const;  // width to height
    void set_pixel_aspect(const TgaRatio& ratio);
    TgaRatio gamma() const;
    void set_gamma(const TgaRatio& ratio);
    TgaAttributes attributes() const;
    void set_attributes(TgaAttributes attributes);

    // Offsets in the file; 0 where there is no such table.
    uint32_t correction_at() const;
    uint32_t stamp_at() const;
    uint32_t scan_lines_at() const;
    void set_places(uint32_t correction, uint32_t stamp, uint32_t scan_lines);

    bool operator==(const TgaExtension&) const = default;

 private:
    uint16_t u16(size_t at) const;
    uint32_t u32(size_t at) const;
    void put_u16(size_t at, unsigned value);
    void put_u32(size_t at, uint32_t value);
    std::string text(size_t at, size_t room) const;
    void put_text(size_t at, size_t room, std::string_view text, const char* property);

    std::vector<uint8_t> m_bytes;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_EXTENSION_H
