// Elements `image` with data URIs; see embedded_pictures.h.
//
// Entities of the document itself are resolved by the parser, which bounds how much they may become. Entities outside
// of the document are never looked for.
#include "runtime/native/formats/svg/embedded_pictures.h"

#include <expat.h>

#include <exception>
#include <string_view>

#include "runtime/native/formats/svg/base64.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Behind the address of a namespace in the names that the parser gives.
constexpr char kSeparator = ' ';
constexpr std::string_view kImage = "http://www.w3.org/2000/svg image";
constexpr std::string_view kLink = "http://www.w3.org/1999/xlink href";

struct Collecting {
    XML_Parser parser;
    std::vector<SvgEmbedded> pictures;
    std::exception_ptr failure;  // cannot pass through the parser
};

// "data:image/png;base64,iVBOR..."
void add_picture(std::string_view uri, std::vector<SvgEmbedded>& pictures) {
    constexpr std::string_view kData = "data:", kBase64 = ";base64";
    const size_t comma = uri.find(',');
    if (!uri.starts_with(kData) || comma == std::string_view::npos) {
        return;
    }
    std::string_view type = uri.substr(kData.size(), comma - kData.size());
    if (!type.ends_with(kBase64)) {
        return;
    }
    type = type.substr(0, type.find(';'));
    if (auto bytes = from_base64(uri.substr(comma + 1))) {
        pictures.push_back({std::string(type), std::move(*bytes)});
    }
}

void begin_embedding(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& collecting = *static_cast<Collecting*>(data);
    if (kImage != name || collecting.failure) {
        return;
    }
    try {
        const XML_Char* uri = nullptr;
        for (size_t i = 0; attributes[i] != nullptr; i += 2) {
            // The newer name without a namespace counts more.
            const std::string_view key = attributes[i];
            if (key == "href" || (key == kLink && uri == nullptr)) {
                uri = attributes[i + 1];
            }
        }
        if (uri != nullptr) {
            add_picture(uri, collecting.pictures);
        }
    } catch (...) {
        collecting.failure = std::current_exception();
    }
}

}  // namespace

std::vector<SvgEmbedded> embedded_pictures(std::span<const uint8_t> document) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreateNS(nullptr, kSeparator),
                                                                              &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Collecting collecting{parser.get(), {}, {}};
    XML_SetUserData(parser.get(), &collecting);
    XML_SetElementHandler(parser.get(), &begin_embedding, nullptr);
    const auto* text = reinterpret_cast<const char*>(document.data());
    const bool read = document.size() <= INT32_MAX &&
                      XML_Parse(parser.get(), text, static_cast<int>(document.size()), XML_TRUE) == XML_STATUS_OK;
    if (collecting.failure) {
        std::rethrow_exception(collecting.failure);
    }
    if (!read) {
        throw PictureError(Failure::kDamaged, std::string("the SVG document cannot be read: ") +
                                                  XML_ErrorString(XML_GetErrorCode(parser.get())));
    }
    return std::move(collecting.pictures);
}

}  // namespace zelmor::imagework
