// The functions of the XML library expat, which is loaded at its first use.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXPAT_LIBRARY_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXPAT_LIBRARY_H

#include <expat.h>

#include <string>
#include <string_view>

namespace zelmor::imagework {

// Those that are used here.
struct Expat {
    decltype(&XML_ParserCreateNS) create;
    decltype(&XML_ParserFree) release;
    decltype(&XML_SetReturnNSTriplet) return_triplets;
    decltype(&XML_SetUserData) set_user_data;
    decltype(&XML_SetElementHandler) on_element;
    decltype(&XML_SetCharacterDataHandler) on_text;
    decltype(&XML_SetProcessingInstructionHandler) on_instruction;
    decltype(&XML_SetStartDoctypeDeclHandler) on_document_type;
    decltype(&XML_StopParser) stop;
    decltype(&XML_Parse) parse;
    decltype(&XML_GetErrorCode) error_code;
    decltype(&XML_ErrorString) error_text;
    decltype(&XML_GetCurrentLineNumber) line;

    // Parses a whole document, however long it is; false where it is not well-formed, or where it was stopped.
    bool parse_all(XML_Parser parser, std::string_view text) const;
    // What is wrong with a document, and in which line.
    std::string error_in_line(XML_Parser parser) const;
};

struct ExpatLibrary {
    Expat functions = {};
    bool loaded = false;
    std::string reason;  // why it is not
};

const ExpatLibrary& expat_library();

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXPAT_LIBRARY_H
