// Tags and result codes of the wire: what the integer in a record means.
//
// The two tag spaces of VariantArg overlap on purpose; the managed entry point knows which one it receives.
#ifndef ZELMOR_EXCHANGE_WIRE_TAGS_H
#define ZELMOR_EXCHANGE_WIRE_TAGS_H

#include <cstdint>

// Tag space A: a parameter of a class, struct, interface or collection type.
enum HandleTag : int32_t {
    kHandleObject = 0,     // object handle; also null
    kHandleStruct = 1,     // struct handle
    kHandlePyObject = 2,   // borrowed list, iterable or stream standing in for a managed object
    kHandlePySequence = 3  // borrowed sequence of any other kind
};

// Tag space B: a parameter of managed type `object`.
enum VariantTag : int32_t {
    kVariantNull = 0,
    kVariantObject = 1,  // value is an object handle
    kVariantStruct = 2,  // value is a struct handle
    kVariantString = 3,  // from here on value is the borrowed Python object
    kVariantBuffer = 4,
    kVariantBool = 5,
    kVariantInt = 6,
    kVariantFloat = 7,
    kVariantDecimal = 8,
    kVariantDecimalTuple = 9,
    kVariantDateTime = 10,
    kVariantDate = 11,
    kVariantTime = 12,
    kVariantTimeDelta = 13,
    kVariantUuid = 14,
    kVariantList = 15,
    kVariantTuple = 16
};

// PyCollectionArg::kind.
enum CollectionKind : int32_t { kCollectionObject = 0, kCollectionStruct = 1, kCollectionPyObject = 2 };

// Width classes answered by the integer reader of the read callbacks.
enum IntegerWidth : int { kIntegerFailed = 0, kInteger32 = 1, kInteger64 = 2, kIntegerUnsigned64 = 3 };

// Status of ToStringOfObj and ToStringOfStc when the text was delivered.
constexpr int kToStringDelivered = 1;

// Status of the cast services.
constexpr int kCastImpossible = 0;
constexpr int kCastMade = 1;
constexpr int kCastFailed = -1;

#endif  // ZELMOR_EXCHANGE_WIRE_TAGS_H
