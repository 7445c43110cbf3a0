// Loading expat; see expat_library.h.
#include "runtime/native/imagework/probe/expat_library.h"

#include <dlfcn.h>

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

const ExpatLibrary& expat_library() {
    static const ExpatLibrary library = load();
    return library;
}

}  // namespace zelmor::imagework
