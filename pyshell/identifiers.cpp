// Storage and creation of the interned identifiers. Written once, during the import; all threads read them.
#include "pyshell/identifiers.h"

#define ZELMOR_DEFINE_IDENTIFIER(identifier, text) PyObject* identifier = nullptr;
ZELMOR_IDENTIFIERS(ZELMOR_DEFINE_IDENTIFIER)
#undef ZELMOR_DEFINE_IDENTIFIER

void fn_intern_identifiers() {
    // Each reference is kept for the life of the process.
#define ZELMOR_INTERN_IDENTIFIER(identifier, text) identifier = PyUnicode_InternFromString(text);
    ZELMOR_IDENTIFIERS(ZELMOR_INTERN_IDENTIFIER)
#undef ZELMOR_INTERN_IDENTIFIER
}
