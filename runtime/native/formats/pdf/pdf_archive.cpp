// Objects of files for archives; see pdf_archive.h.
#include "runtime/native/formats/pdf/pdf_archive.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "runtime/native/formats/escaped_xml.h"

namespace zelmor::imagework {
namespace {

// Control characters cannot stand in XML, nor are they seen.
std::string xml_text(const std::string& utf8) {
    return embed::escaped_xml(utf8, [](char) { return " "; });
}

// The texts are those of the dictionary about the document, since both have to agree.
std::string metadata_packet(const PdfInfo& info, PdfCompliance compliance) {
    std::string rdf =
        "<rdf:Description rdf:about=\"\" xmlns:pdfaid=\"http://www.aiim.org/pdfa/ns/id/\">"
        "<pdfaid:part>1</pdfaid:part><pdfaid:conformance>";
    rdf += compliance == PdfCompliance::kA1a ? "A" : "B";
    rdf += "</pdfaid:conformance></rdf:Description>";
    std::string core;
    const auto alternative = [&](const char* name, const std::string& text) {
        if (!text.empty()) {
            core += std::string("<dc:") + name + "><rdf:Alt><rdf:li xml:lang=\"x-default\">" + xml_text(text) +
                    "</rdf:li></rdf:Alt></dc:" + name + ">";
        }
    };
    alternative("title", info.title);
    if (!info.author.empty()) {
        core += "<dc:creator><rdf:Seq><rdf:li>" + xml_text(info.author) + "</rdf:li></rdf:Seq></dc:creator>";
    }
    alternative("description", info.subject);
    if (!core.empty()) {
        rdf += "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">" + core +
               "</rdf:Description>";
    }
    if (!info.keywords.empty()) {
        rdf += "<rdf:Description rdf:about=\"\" xmlns:pdf=\"http://ns.adobe.com/pdf/1.3/\"><pdf:Keywords>" +
               xml_text(info.keywords) + "</pdf:Keywords></rdf:Description>";
    }
    return "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
           "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
           "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">" +
           rdf + "</rdf:RDF></x:xmpmeta>\n<?xpacket end=\"w\"?>";
}

// Numbers of profiles, the highest byte first.
class ProfileWriter {
 public:
    void u16(uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(value >> 8));
        bytes.push_back(static_cast<uint8_t>(value));
    }
    void u32(uint32_t value) {
        u16(value >> 16);
        u16(value & 0xFFFF);
    }
    void fixed(double value) { u32(static_cast<uint32_t>(std::lround(value * 65536))); }
    void text(std::string_view letters) { bytes.insert(bytes.end(), letters.begin(), letters.end()); }
    void zeros(size_t count) { bytes.insert(bytes.end(), count, 0); }
    void align() { zeros((4 - bytes.size() % 4) % 4); }
    std::vector<uint8_t> bytes;
};

double linear(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

std::string reference(int number) {
    return std::to_string(number) + " 0 R";
}

// A figure for each page, which is what its only marked contents are.
std::string write_structure(PdfObjects& objects, const PdfInfo& info, std::span<const int> pages) {
    const int root = objects.new_object();
    const int document = objects.new_object();
    std::string figures, parents;
    for (size_t i = 0; i < pages.size(); i++) {
        const int figure = objects.new_object();
        const std::string about =
            (info.title.empty() ? std::string("Page") : info.title + ", page") + " " + std::to_string(i + 1);
        objects.write_object(figure, "<< /Type /StructElem /S /Figure /P " + reference(document) + " /Pg " +
                                         reference(pages[i]) + " /K 0 /Alt " + pdf_text(about) + " >>");
        figures += " " + reference(figure);
        parents += " " + std::to_string(i) + " [ " + reference(figure) + " ]";
    }
    objects.write_object(document,
                         "<< /Type /StructElem /S /Document /P " + reference(root) + " /K [" + figures + " ] >>");
    objects.write_object(root, "<< /Type /StructTreeRoot /K " + reference(document) + " /ParentTree << /Nums [" +
                                   parents + " ] >> /ParentTreeNextKey " + std::to_string(pages.size()) + " >>");
    return " /MarkInfo << /Marked true >> /StructTreeRoot " + reference(root);
}

// The code points of UTF-8 that is known to be well formed, as UTF-16 with the highest byte first.
std::vector<uint8_t> utf16_of(const std::string& utf8) {
    std::vector<uint8_t> result{0xFE, 0xFF};
    const auto put = [&](uint32_t unit) {
        result.push_back(static_cast<uint8_t>(unit >> 8));
        result.push_back(static_cast<uint8_t>(unit));
    };
    for (size_t i = 0; i < utf8.size();) {
        const auto first = static_cast<uint8_t>(utf8[i++]);
        const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        uint32_t point = more == 0 ? first : first & (0x3FU >> more);
        for (int k = 0; k < more && i < utf8.size(); ++k) {
            point = point << 6 | (static_cast<uint8_t>(utf8[i++]) & 0x3FU);
        }
        if (point >= 0x10000) {
            put(0xD800 + ((point - 0x10000) >> 10));
            put(0xDC00 + ((point - 0x10000) & 0x3FF));
        } else {
            put(point);
        }
    }
    return result;
}

}  // namespace

std::string stream_object(std::string_view entries, std::string_view bytes) {
    return std::string(entries) + " /Length " + std::to_string(bytes.size()) + " >>\nstream\n" + std::string(bytes) +
           "\nendstream";
}

std::string write_archive_objects(PdfObjects& objects, const PdfInfo& info, PdfCompliance compliance,
                                  std::span<const int> pages) {
    const int profile = objects.new_object();
    const std::vector<uint8_t> colors = srgb_profile();
    objects.write_object(profile, stream_object("<< /N 3 /Alternate /DeviceRGB",
                                                {reinterpret_cast<const char*>(colors.data()), colors.size()}));
    const int metadata = objects.new_object();
    objects.write_object(metadata,
                         stream_object("<< /Type /Metadata /Subtype /XML", metadata_packet(info, compliance)));
    std::string entries = " /Metadata " + reference(metadata) +
                          " /OutputIntents [ << /Type /OutputIntent /S /GTS_PDFA1 /OutputConditionIdentifier (sRGB) "
                          "/RegistryName (http://www.color.org) /Info (sRGB) /DestOutputProfile " +
                          reference(profile) + " >> ]";
    if (compliance == PdfCompliance::kA1a) {
        entries += write_structure(objects, info, pages);
    }
    return entries;
}

void PdfIdentifier::add(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes) {
        m_first = (m_first ^ byte) * 0x100000001B3;
        m_second = (m_second + byte) * 0x9E3779B97F4A7C15;
    }
}

std::string PdfIdentifier::entry() const {
    char digits[40];
    std::snprintf(digits, sizeof digits, "<%016llX%016llX>", static_cast<unsigned long long>(m_first),
                  static_cast<unsigned long long>(m_second));
    return std::string(" /ID [ ") + digits + " " + digits + " ]";
}

bool is_archive_profile(std::span<const uint8_t> profile) {
    constexpr size_t kVersionAt = 8;
    return profile.size() > kVersionAt && profile[kVersionAt] <= 2;
}

std::vector<uint8_t> srgb_profile() {
    constexpr std::string_view kName = "sRGB";
    constexpr std::string_view kRights = "No copyright, use freely";
    constexpr int kCurve = 1024;
    struct Tag {
        std::string_view name;
        std::vector<uint8_t> data;
    };
    std::vector<Tag> tags;
    const auto add = [&](std::string_view name, auto&& fill) {
        ProfileWriter out;
        fill(out);
        out.align();
        tags.push_back({name, std::move(out.bytes)});
    };
    add("desc", [&](ProfileWriter& out) {
        constexpr size_t kOtherForms = 4 + 4 + 2 + 1 + 67;
        out.text("desc");
        out.u32(0);
        out.u32(static_cast<uint32_t>(kName.size()) + 1);
        out.text(kName);
        out.zeros(1 + kOtherForms);
    });
    add("cprt", [&](ProfileWriter& out) {
        out.text("text");
        out.u32(0);
        out.text(kRights);
        out.zeros(1);
    });
    // White and the primaries under the light of the profile space, D50.
    constexpr double kWhite[] = {0.9642, 1.0, 0.8249};
    struct Primary {
        std::string_view name;
        double xyz[3];
    };
    constexpr Primary kPrimaries[] = {{"wtpt", {kWhite[0], kWhite[1], kWhite[2]}},
                                      {"rXYZ", {0.43607, 0.22249, 0.01392}},
                                      {"gXYZ", {0.38515, 0.71687, 0.09708}},
                                      {"bXYZ", {0.14307, 0.06061, 0.71410}}};
    for (const Primary& each : kPrimaries) {
        add(each.name, [&](ProfileWriter& out) {
            out.text("XYZ ");
            out.u32(0);
            for (const double part : each.xyz) {
                out.fixed(part);
            }
        });
    }
    add("rTRC", [&](ProfileWriter& out) {
        out.text("curv");
        out.u32(0);
        out.u32(kCurve);
        for (int i = 0; i < kCurve; i++) {
            out.u16(static_cast<uint32_t>(std::lround(65535 * linear(i / (kCurve - 1.0)))));
        }
    });

    constexpr uint32_t kHead = 128, kEntry = 12;
    const auto count = static_cast<uint32_t>(tags.size()) + 2;  // the curve stands for all three colors
    std::vector<std::pair<std::string_view, size_t>> table;
    for (size_t i = 0; i < tags.size(); i++) {
        table.emplace_back(tags[i].name, i);
    }
    table.emplace_back("gTRC", tags.size() - 1);
    table.emplace_back("bTRC", tags.size() - 1);
    std::vector<uint32_t> places;
    uint32_t at = kHead + 4 + kEntry * count;
    for (const Tag& tag : tags) {
        places.push_back(at);
        at += static_cast<uint32_t>(tag.data.size());
    }
    ProfileWriter out;
    out.u32(at);
    out.u32(0);
    out.u32(0x02100000);  // the version
    out.text("mntrRGB XYZ ");
    for (const uint32_t part : {2000, 1, 1, 0, 0, 0}) {
        out.u16(part);  // a date
    }
    out.text("acsp");
    out.zeros(28);
    for (const double part : kWhite) {
        out.fixed(part);
    }
    out.zeros(kHead - out.bytes.size());
    out.u32(count);
    for (const auto& [name, index] : table) {
        out.text(name);
        out.u32(places[index]);
        out.u32(static_cast<uint32_t>(tags[index].data.size()));
    }
    for (const Tag& tag : tags) {
        out.bytes.insert(out.bytes.end(), tag.data.begin(), tag.data.end());
    }
    return std::move(out.bytes);
}

std::string pdf_hex(std::span<const uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result = "<";
    for (const uint8_t byte : bytes) {
        result += kDigits[byte >> 4];
        result += kDigits[byte & 15];
    }
    return result + ">";
}

std::string pdf_text(const std::string& utf8) {
    const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= ' ' && c <= '~'; });
    if (!ascii) {
        return pdf_hex(utf16_of(utf8));
    }
    std::string result = "(";
    for (const char c : utf8) {
        if (c == '(' || c == ')' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result + ")";
}

std::string pdf_info_entries(const PdfInfo& info) {
    std::string result;
    const auto add = [&](const char* name, const std::string& text) {
        if (!text.empty()) {
            result += std::string(" /") + name + " " + pdf_text(text);
        }
    };
    add("Title", info.title);
    add("Author", info.author);
    add("Subject", info.subject);
    add("Keywords", info.keywords);
    return result;
}

}  // namespace zelmor::imagework
