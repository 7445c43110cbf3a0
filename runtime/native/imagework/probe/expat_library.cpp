// Loading expat; see expat_library.h.
#include "runtime/native/imagework/probe/expat_library.h"

#include <dlfcn.h>

#include <algorithm>

namespace zelmor::imagework {
namespace {

ExpatLibrary load() {
    ExpatLibrary expat;
    const auto fail = [&] {
        const char* reason = dlerror();
        expat.reason = reason != nullptr ? reason : "no reason was given";
    };
    void* library = dlopen("libexpat.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        fail();
        return expat;
    }
    expat.loaded = true;
    const auto find = [&]<class F>(F& function, const char* name) {
        function = reinterpret_cast<F>(dlsym(library, name));
        if (expat.loaded && function == nullptr) {
            expat.loaded = false;
            fail();
        }
    };
    find(expat.functions.create, "XML_ParserCreateNS");
    find(expat.functions.release, "XML_ParserFree");
    find(expat.functions.return_triplets, "XML_SetReturnNSTriplet");
    find(expat.functions.set_user_data, "XML_SetUserData");
    find(expat.functions.on_element, "XML_SetElementHandler");
    find(expat.functions.on_text, "XML_SetCharacterDataHandler");
    find(expat.functions.on_instruction, "XML_SetProcessingInstructionHandler");
    find(expat.functions.on_document_type, "XML_SetStartDoctypeDeclHandler");
    find(expat.functions.stop, "XML_StopParser");
    find(expat.functions.parse, "XML_Parse");
    find(expat.functions.error_code, "XML_GetErrorCode");
    find(expat.functions.error_text, "XML_ErrorString");
    find(expat.functions.line, "XML_GetCurrentLineNumber");
    return expat;
}

}  // namespace

bool Expat::parse_all(XML_Parser parser, std::string_view text) const {
    // The library counts the bytes of a piece by an int.
    constexpr size_t kPiece = 1 << 20;
    size_t at = 0;
    bool good = true;
    do {
        const size_t size = std::min(kPiece, text.size() - at);
        const int is_last = at + size == text.size() ? XML_TRUE : XML_FALSE;
        good = parse(parser, text.data() + at, static_cast<int>(size), is_last) == XML_STATUS_OK;
        at += size;
    } while (good && at < text.size());
    return good;
}

std::string Expat::error_in_line(XML_Parser parser) const {
    return std::string(error_text(error_code(parser))) + " in line " + std::to_string(line(parser));
}

const ExpatLibrary& expat_library() {
    static const ExpatLibrary library = load();
    return library;
}

}  // namespace zelmor::imagework
