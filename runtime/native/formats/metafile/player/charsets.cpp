// Character sets of fonts, by the converter of the C library.
#include "runtime/native/formats/metafile/player/charsets.h"

#include <iconv.h>

namespace zelmor::embed::metafile {

namespace {

struct CodePage {
    uint8_t charset;
    const char* name;
};
constexpr CodePage kCodePages[] = {
    {0, "CP1252"},   {1, "CP1252"},   {77, "MACINTOSH"}, {128, "CP932"},  {129, "CP949"},  {130, "CP1361"},
    {134, "CP936"},  {136, "CP950"},  {161, "CP1253"},   {162, "CP1254"}, {163, "CP1258"}, {177, "CP1255"},
    {178, "CP1256"}, {186, "CP1257"}, {204, "CP1251"},   {222, "CP874"},  {238, "CP1250"}, {255, "CP437"},
};

// The letters of the symbol set, from 0x41 to 0x7A; other characters keep their number.
constexpr char16_t kSymbols[] =
    u"\u0391\u0392\u03A7\u2206\u0395\u03A6\u0393\u0397\u0399\u03D1\u039A\u039B\u039C\u039D\u039F\u03A0\u0398\u03A1"
    u"\u03A3\u03A4\u03A5\u03C2\u03A9\u039E\u03A8\u0396[\u2234]\u22A5_\u203E\u03B1\u03B2\u03C7\u03B4\u03B5\u03C6\u03B3"
    u"\u03B7\u03B9\u03D5\u03BA\u03BB\u03BC\u03BD\u03BF\u03C0\u03B8\u03C1\u03C3\u03C4\u03C5\u03D6\u03C9\u03BE\u03C8"
    u"\u03B6";
constexpr uint8_t kSymbolSet = 2;

class Converter {
 public:
    explicit Converter(const char* name) : m_handle(iconv_open("UTF-16LE", name)) {}
    ~Converter() {
        if (is_open()) {
            iconv_close(m_handle);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool is_open() const { return m_handle != reinterpret_cast<iconv_t>(-1); }
    // The characters of the bytes, or none if they are no whole character.
    std::u16string converted(const char* bytes, size_t count) {
        char out[16];
        char* from = const_cast<char*>(bytes);
        char* to = out;
        size_t left = count, room = sizeof out;
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        if (iconv(m_handle, &from, &left, &to, &room) == static_cast<size_t>(-1) || left != 0) {
            return {};
        }
        iconv(m_handle, nullptr, nullptr, &to, &room);  // a character that waits for an accent
        std::u16string text;
        for (const char* each = out; each + 1 < to; each += 2) {
            text += static_cast<char16_t>(static_cast<uint8_t>(each[0]) | static_cast<uint8_t>(each[1]) << 8);
        }
        return text;
    }

 private:
    iconv_t m_handle;
};

}  // namespace

std::u16string decoded_text(const std::u16string& bytes, uint8_t charset, std::vector<double>& advances) {
    if (charset == kSymbolSet) {
        std::u16string text = bytes;
        for (char16_t& c : text) {
            c = c >= 0x41 && c <= 0x7A ? kSymbols[c - 0x41] : c;
        }
        return text;
    }
    const char* name = nullptr;
    for (const CodePage& page : kCodePages) {
        name = page.charset == charset ? page.name : name;
    }
    if (name == nullptr) {
        return bytes;
    }
    Converter converter(name);
    if (!converter.is_open()) {
        return bytes;
    }
    std::u16string text;
    std::vector<double> moved;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const char pair[2] = {static_cast<char>(bytes[i]),
                              i + 1 < bytes.size() ? static_cast<char>(bytes[i + 1]) : '\0'};
        std::u16string one = bytes[i] < 0x80 ? std::u16string(1, bytes[i]) : converter.converted(pair, 1);
        size_t used = 1;
        if (one.empty() && i + 1 < bytes.size()) {
            one = converter.converted(pair, 2);
            used = one.empty() ? 1 : 2;
        }
        if (one.empty()) {
            one = bytes[i];
        }
        text += one;
        if (!advances.empty()) {
            double advance = 0;
            for (size_t k = i; k < i + used && k < advances.size(); ++k) {
                advance += advances[k];
            }
            moved.push_back(advance);
            moved.resize(text.size());
        }
        i += used - 1;
    }
    advances = std::move(moved);
    return text;
}

}  // namespace zelmor::embed::metafile
