// The table of interned identifiers.
#include "pyshell/identifiers.h"

#include <cstring>
#include <set>

#include "fixture.h"

using Identifiers = PyShellTest;

TEST_F(Identifiers, HoldTheirTextAndAreInterned){
#define ZELMOR_CHECK_IDENTIFIER(identifier, text)                                     \
    {                                                                                 \
        EXPECT_STREQ(PyUnicode_AsUTF8(identifier), text) << #identifier;              \
        const auto interned = zelmor::PyRef::steal(PyUnicode_InternFromString(text)); \
        EXPECT_EQ(interned.get(), identifier) << #identifier;                         \
    }
    ZELMOR_IDENTIFIERS(ZELMOR_CHECK_IDENTIFIER)
#undef ZELMOR_CHECK_IDENTIFIER
}

TEST_F(Identifiers, AreFiftyOneWithDistinctTexts) {
    std::set<std::string> texts;
    int count = 0;
#define ZELMOR_COUNT_IDENTIFIER(identifier, text) \
    texts.insert(text);                           \
    ++count;
    ZELMOR_IDENTIFIERS(ZELMOR_COUNT_IDENTIFIER)
#undef ZELMOR_COUNT_IDENTIFIER
    EXPECT_EQ(count, 51);
    EXPECT_EQ(texts.size(), 51u);
}

TEST_F(Identifiers, ASecondRunLeadsToTheSameStringsAndKeepsOneMoreReference) {
    PyObject* before = PyWrpIdTraceBack_FormatExceptionWarning;
    const Py_ssize_t references = Py_REFCNT(before);
    fn_intern_identifiers();
    EXPECT_EQ(PyWrpIdTraceBack_FormatExceptionWarning, before);
    EXPECT_EQ(Py_REFCNT(before), references + 1);
}
