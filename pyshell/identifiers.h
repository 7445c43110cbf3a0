// The interned strings by which the bridge looks up attributes and names things towards Python.
//
// They are made once, first thing in the module's entry, and live as long as the process. The table is in the order
// of creation.
#ifndef ZELMOR_PYSHELL_IDENTIFIERS_H
#define ZELMOR_PYSHELL_IDENTIFIERS_H

#include "pyshell/python.h"

// X(identifier, text)
#define ZELMOR_IDENTIFIERS(X)                                                         \
    X(PyWrpIdStr_Empty, "")                                                           \
    X(PyWrpIdRawIo_Write, "write")                                                    \
    X(PyWrpIdRawIo_ReadInto, "readinto")                                              \
    X(PyWrpIdRawIo_Seek, "seek")                                                      \
    X(PyWrpIdRawIo_Flush, "flush")                                                    \
    X(PyWrpIdRawIo_Close, "close")                                                    \
    X(PyWrpIdRawIo_Closed, "closed")                                                  \
    X(PyWrpIdRawIo_Readable, "readable")                                              \
    X(PyWrpIdRawIo_Writable, "writable")                                              \
    X(PyWrpIdRawIo_Seekable, "seekable")                                              \
    X(PyWrpIdRawIo_Tell, "tell")                                                      \
    X(PyWrpIdMarkattr_ZelmorClrHost, "_zelmor_clr_host")                              \
    X(PyWrpIdMarkattr_ZelmorClrCastableObj, "_zelmor_clr_castable_obj")               \
    X(PyWrpIdMarkattr_ExternalAncestor, "_external_ancestor")                         \
    X(PyWrpIdMarkattr_AdditionalInterfaces, "_additional_interfaces")                 \
    X(PyWrpIdMarkattr_ImplicitInterfaces, "_implicit_interfaces")                     \
    X(PyWrpIdTypeName_EnumType, "EnumType")                                           \
    X(PyWrpIdTypeName_IntEnum, "IntEnum")                                             \
    X(PyWrpIdTypeName_IntFlag, "IntFlag")                                             \
    X(PyWrpIdTypeName_Uuid, "UUID")                                                   \
    X(PyWrpIdTypeName_Decimal, "Decimal")                                             \
    X(PyWrpIdTypeName_DecimalTuple, "DecimalTuple")                                   \
    X(PyWrpIdTypeName_RawIOBase, "RawIOBase")                                         \
    X(PyWrpIdTypeName_BufferedIOBase, "BufferedIOBase")                               \
    X(PyWrpIdTypeName_BytesAsStream, "BytesAsStream")                                 \
    X(PyWrpIdTypeName_DateTime, "datetime")                                           \
    X(PyWrpIdTypeName_TimeZone, "timezone")                                           \
    X(PyWrpIdUuid_BytesLe, "bytes_le")                                                \
    X(PyWrpIdDecimal_Exponent, "exponent")                                            \
    X(PyWrpIdDecimal_Sign, "sign")                                                    \
    X(PyWrpIdDecimal_Digits, "digits")                                                \
    X(PyWrpIdDecimal_AsTuple, "as_tuple")                                             \
    X(PyWrpIdDateTime_Tzinfo, "tzinfo")                                               \
    X(PyWrpIdDateTime_UtcOffset, "utcoffset")                                         \
    X(PyWrpIdDateTime_Utc, "utc")                                                     \
    X(PyWrpIdList_Extend, "extend")                                                   \
    X(PyWrpIdList_Pop, "pop")                                                         \
    X(PyWrpIdList_Clear, "clear")                                                     \
    X(PyWrpIdList_Remove, "remove")                                                   \
    X(PyWrpIdList_Index, "index")                                                     \
    X(PyWrpIdTraceBack_FormatException, "format_exception")                           \
    X(PyWrpIdTraceBack_FormatExceptionOnly, "format_exception_only")                  \
    X(PyWrpIdTraceBack_FormatExceptionWarning, "FormatCallbackException")             \
    X(PyWrpIdTraceBack_Unknown, "<unknown>")                                          \
    X(PyWrpIdType_Qualname, "__qualname__")                                           \
    X(PyWrpIdWeakref_Finalize, "finalize")                                            \
    X(PyWrpIdOwn_Version, "VERSION")                                                  \
    X(PyWrpIdOwn_BackwardCompatibilityThreshold, "_BACKWARD_COMPATIBILITY_THRESHOLD") \
    X(PyWrpIdCastMeth_TypeOf, "_type_of")                                             \
    X(PyWrpIdCastMeth_AsUniEnum, "_as_uni_enum")                                      \
    X(PyWrpIdTypeName_PurePath, "PurePath")

#define ZELMOR_DECLARE_IDENTIFIER(identifier, text) extern PyObject* identifier;
ZELMOR_IDENTIFIERS(ZELMOR_DECLARE_IDENTIFIER)
#undef ZELMOR_DECLARE_IDENTIFIER

// Makes all of them. A second run overwrites the globals with the same interned strings.
void fn_intern_identifiers();

#endif  // ZELMOR_PYSHELL_IDENTIFIERS_H
