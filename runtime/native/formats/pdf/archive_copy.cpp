// Copying the objects of a file, changed where PDF/A-1 demands it; see archive_copy.h.
#include "runtime/native/formats/pdf/archive_copy.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>
#include <vector>

#include "runtime/native/formats/pdf/pdf_archive.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr std::string_view kStreamMark = "\nstream\n";

[[noreturn]] void unexpected() {
    throw PictureError(Failure::kInternal, "the drawing library wrote a document of another form");
}

// The number behind the words, where they stand.
std::optional<int> number_behind(std::string_view text, std::string_view words) {
    const size_t at = text.find(words);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string digits(text.substr(at + words.size(), 12));
    return std::atoi(digits.c_str());
}

bool has(std::string_view text, std::string_view words) {
    return text.find(words) != std::string_view::npos;
}

// An object: what stands before its stream, and the rest.
struct Object {
    std::string head;
    std::string_view stream;  // from the mark to the end of the object
};

class Copy final : public PdfObjects {
 public:
    explicit Copy(std::span<const uint8_t> file) : m_file(reinterpret_cast<const char*>(file.data()), file.size()) {
        read();
    }

    int new_object() override {
        m_objects.emplace_back();
        return static_cast<int>(m_objects.size());
    }
    void write_object(int number, std::string_view text) override { object(number).head = text; }

    // Whether the pages have only what PDF/A-1 has.
    bool fits() const {
        for (const Object& each : m_objects) {
            const std::string_view head = each.head;
            const bool page = is_page(head);
            if ((has(head, "/S /Transparency") && !page) || has(head, "/SMask") || has(head, "/BM ") ||
                has(head, "/JPXDecode")) {
                return false;
            }
            for (const std::string_view alpha : {"/ca ", "/CA "}) {
                for (size_t at = head.find(alpha); at != std::string_view::npos; at = head.find(alpha, at + 1)) {
                    const std::string_view value = head.substr(at + alpha.size());
                    if (!value.starts_with("1 ") && !value.starts_with("1\n")) {
                        return false;
                    }
                }
            }
            // Their subsets need lists of names that the library does not write.
            if (has(head, "/Type /Font\n") && has(head, "/Subtype /Type1\n")) {
                return false;
            }
        }
        return true;
    }

    std::string archived(const PdfInfo& info, PdfCompliance compliance) {
        complete_fonts();
        const std::vector<int> pages = page_numbers();
        for (size_t i = 0; i < pages.size(); i++) {
            change_page(pages[i], i, compliance == PdfCompliance::kA1a);
        }
        for (Object& each : m_objects) {
            constexpr std::string_view kSmooth = "/Interpolate true";
            if (const size_t at = each.head.find(kSmooth); at != std::string::npos) {
                each.head.replace(at, kSmooth.size(), "/Interpolate false");
            }
        }
        object(m_info).head = "<<" + pdf_info_entries(info) + " >>";
        const std::string entries = write_archive_objects(*this, info, compliance, pages);
        std::string& catalog = object(m_catalog).head;
        const size_t end = catalog.rfind(">>");
        if (end == std::string::npos) {
            unexpected();
        }
        catalog.insert(end, entries + " ");
        return written();
    }

 private:
    static bool is_page(std::string_view head) { return has(head, "/Type /Page ") || has(head, "/Type /Page\n"); }

    Object& object(int number) {
        if (number < 1 || static_cast<size_t>(number) > m_objects.size()) {
            unexpected();
        }
        return m_objects[static_cast<size_t>(number) - 1];
    }

    void read() {
        const size_t mark = m_file.rfind("startxref\n");
        const auto table =
            mark == std::string_view::npos ? std::nullopt : number_behind(m_file.substr(mark), "startxref\n");
        if (!table || *table <= 0 || static_cast<size_t>(*table) >= m_file.size()) {
            unexpected();
        }
        const std::string_view rest = m_file.substr(static_cast<size_t>(*table));
        constexpr std::string_view kTableMark = "xref\n0 ";
        constexpr size_t kRow = 20;
        const auto count = rest.starts_with(kTableMark) ? number_behind(rest, kTableMark) : std::nullopt;
        const size_t rows = rest.find('\n', kTableMark.size()) + 1;
        if (!count || *count < 1 || rest.size() < rows + kRow * static_cast<size_t>(*count)) {
            unexpected();
        }
        std::vector<size_t> places, sorted;
        for (size_t i = 1; i < static_cast<size_t>(*count); i++) {
            const std::string digits(rest.substr(rows + kRow * i, 10));
            places.push_back(std::strtoull(digits.c_str(), nullptr, 10));
        }
        sorted = places;
        sorted.push_back(static_cast<size_t>(*table));
        std::sort(sorted.begin(), sorted.end());
        for (const size_t place : places) {
            const size_t end = *std::upper_bound(sorted.begin(), sorted.end() - 1, place);
            take(m_file.substr(place, end - place));
        }
        const auto catalog = number_behind(rest, "/Root "), info = number_behind(rest, "/Info ");
        if (!catalog || !info) {
            unexpected();
        }
        m_catalog = *catalog;
        m_info = *info;
    }

    void take(std::string_view text) {
        const size_t begin = text.find(" obj\n");
        const size_t end = text.rfind("endobj");
        if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) {
            unexpected();
        }
        text = text.substr(begin + 5, end - begin - 5);
        const size_t stream = text.find(kStreamMark);
        Object made;
        made.head = text.substr(0, stream);
        made.stream = stream == std::string_view::npos ? std::string_view() : text.substr(stream);
        m_objects.push_back(std::move(made));
    }

    std::vector<int> page_numbers() {
        const auto tree = number_behind(object(m_catalog).head, "/Pages ");
        std::string_view kids = tree ? std::string_view(object(*tree).head) : std::string_view();
        const size_t begin = kids.find("/Kids ["), end = kids.find(']', begin);
        if (begin == std::string_view::npos || end == std::string_view::npos) {
            unexpected();
        }
        kids = kids.substr(begin + 7, end - begin - 7);
        std::vector<int> pages;
        for (size_t at = 0; (at = kids.find_first_of("0123456789", at)) != std::string_view::npos;) {
            pages.push_back(std::atoi(std::string(kids.substr(at, 12)).c_str()));
            at = kids.find('R', at);
            if (at == std::string_view::npos) {
                break;
            }
        }
        return pages;
    }

    void change_page(int number, size_t index, bool structured) {
        std::string& head = object(number).head;
        // The group of the page as a whole, which matters only to transparency.
        const size_t group = head.find("/Group <<");
        const size_t group_end = head.find(">>", group);
        if (group != std::string::npos && group_end != std::string::npos) {
            head.erase(group, group_end + 2 - group);
        }
        if (!structured) {
            return;
        }
        constexpr std::string_view kContents = "/Contents ";
        const auto contents = number_behind(head, kContents);
        const size_t at = head.find(kContents);
        const size_t end = head.find('R', at);
        if (!contents || end == std::string::npos) {
            unexpected();
        }
        const int before = new_object();
        const int after = new_object();
        object(before).head = stream_object("<<", std::string(kMarkedBegin));
        object(after).head = stream_object("<<", std::string(kMarkedEnd));
        std::string& page = object(number).head;  // objects may have moved
        page.replace(at, end + 1 - at,
                     "/Contents [ " + std::to_string(before) + " 0 R " + std::to_string(*contents) + " 0 R " +
                         std::to_string(after) + " 0 R ] /StructParents " + std::to_string(index));
    }

    // Fonts of many characters tell which glyphs their files have, and that the numbers of characters are those of
    // glyphs.
    void complete_fonts() {
        const size_t count = m_objects.size();
        for (size_t i = 0; i < count; i++) {
            const bool truetype = has(m_objects[i].head, "/Subtype /CIDFontType2");
            if (!truetype && !has(m_objects[i].head, "/Subtype /CIDFontType0\n")) {
                continue;
            }
            const std::string head = m_objects[i].head;
            const auto descriptor = number_behind(head, "/FontDescriptor ");
            const size_t widths = head.find("/W [0 [");
            const size_t end = head.find(']', widths);
            if (!descriptor || widths == std::string::npos || end == std::string::npos) {
                unexpected();
            }
            size_t glyphs = 0;
            bool inside = false;
            for (size_t at = widths + 7; at < end; at++) {
                const bool digit = head[at] != ' ' && head[at] != '\n';
                glyphs += digit && !inside ? 1 : 0;
                inside = digit;
            }
            std::string set((glyphs + 7) / 8, '\0');
            for (size_t glyph = 0; glyph < glyphs; glyph++) {
                set[glyph / 8] = static_cast<char>(static_cast<unsigned char>(set[glyph / 8]) | 0x80 >> glyph % 8);
            }
            const int number = new_object();
            object(number).head = stream_object("<<", set);
            const auto insert = [&](std::string& into, const std::string& entry) {
                const size_t close = into.rfind(">>");
                if (close == std::string::npos) {
                    unexpected();
                }
                into.insert(close, entry);
            };
            insert(object(*descriptor).head, " /CIDSet " + std::to_string(number) + " 0 R ");
            if (truetype && !has(head, "/CIDToGIDMap")) {
                insert(m_objects[i].head, " /CIDToGIDMap /Identity ");
            }
        }
    }

    std::string written() const {
        std::string out = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
        std::string table = "xref\n0 " + std::to_string(m_objects.size() + 1) + "\n0000000000 65535 f \n";
        for (size_t i = 0; i < m_objects.size(); i++) {
            char line[32];
            std::snprintf(line, sizeof line, "%010llu 00000 n \n", static_cast<unsigned long long>(out.size()));
            table += line;
            out += std::to_string(i + 1) + " 0 obj\n" + m_objects[i].head + std::string(m_objects[i].stream);
            out += out.ends_with('\n') ? "endobj\n" : "\nendobj\n";
        }
        PdfIdentifier identifier;
        identifier.add({reinterpret_cast<const uint8_t*>(out.data()), out.size()});
        const size_t at = out.size();
        out += table + "trailer\n<< /Size " + std::to_string(m_objects.size() + 1) + " /Root " +
               std::to_string(m_catalog) + " 0 R /Info " + std::to_string(m_info) + " 0 R" + identifier.entry() +
               " >>\nstartxref\n" + std::to_string(at) + "\n%%EOF\n";
        return out;
    }

    std::string_view m_file;
    std::vector<Object> m_objects;  // from number 1 on
    int m_catalog = 0, m_info = 0;
};

}  // namespace

std::optional<std::string> archive_copy(std::span<const uint8_t> file, const PdfInfo& info, PdfCompliance compliance) {
    Copy copy(file);
    return copy.fits() ? std::optional(copy.archived(info, compliance)) : std::nullopt;
}

}  // namespace zelmor::imagework
