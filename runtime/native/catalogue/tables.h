// The catalogue as the embedded runtime sees it: types, their properties and their entry points.
//
// The tables behind these declarations are written by the generator at build time. They are all that the runtime
// knows about a member that has no behavior of its own: its generic implementation works from them.
#ifndef ZELMOR_RUNTIME_NATIVE_CATALOGUE_TABLES_H
#define ZELMOR_RUNTIME_NATIVE_CATALOGUE_TABLES_H

#include <cstdint>
#include <span>

namespace zelmor::embed {

struct TypeInfo;

enum class TypeKind : uint8_t { kClass, kStaticClass, kInterface, kStruct, kEnum };

enum class EntryRole : uint8_t {
    kCtor,
    kCall,
    kStaticCall,
    kGet,
    kSet,
    kGetStatic,
    kSetStatic,
    kTypeOf,
    kCastTo,
    kCastFrom,
    kReinterpretObj,
    kAsUniEnum,
    kCastAs,
    kIsAssignable,
    kGetType,
};

// How a value crosses; enumerations cross as their underlying integer and name their type beside it.
enum class Wire : uint8_t {
    kVoid,
    kBool,
    kInt8,
    kUInt8,
    kInt16,
    kUInt16,
    kInt32,
    kUInt32,
    kInt64,
    kUInt64,
    kSingle,
    kDouble,
    kChar,

    kDateTime,          // the ticks word in, two words out
    kDateTimeOffset,    // two words in and out, behind a pointer
    kNullableDateTime,  // an int32 that is 0 for null, and the ticks word in; two out slots of the same out
    kTimeSpan,          // the ticks
    kDecimal,           // four words of 32 bits in and out, behind a pointer
    kGuid,              // 16 bytes in and out, behind a pointer

    kString,      // PyStringArg in, PyObject* out
    kBytes,       // PyBytesArg in, PyObject* out
    kObject,      // managed `object`: VariantArg in, PyObject* out
    kClass,       // handle in and out
    kStruct,      // VariantArg in, struct handle out
    kInterface,   // VariantArg in, PyObjectOutArg out
    kStream,      // VariantArg in, PyCollectionArg out
    kCollection,  // VariantArg in, PyCollectionArg out
    kRecord,      // value record of the drawing module: a pointer to it, in and out
};

constexpr int16_t kNoType = -1;

// Which collection a member names where its wire is kCollection.
enum class CollectionShape : uint8_t {
    kNone,
    kArray,  // T[]
    kList,   // List<T>
    kIList,  // IList, or IList<T> where there is an element; the same for the next three
    kICollection,
    kIEnumerable,
    kIEnumerator,
    kSystemArray,  // Array
    kArrayList,
};

// The element of typed collections. Elements with the same identifier are the same element, so that a pointer tells
// them apart.
struct ElementType {
    const char* id;      // eight hexadecimal digits
    Wire wire;           // kObject for any value; an enumeration crosses in 32 bits, whatever its own width
    const char* name;    // full managed name of a class, struct, interface or enumeration, of a number's .NET type, or
                         // the identifier of the inner element for an array of arrays (wire kCollection)
    int16_t type_index;  // index into types(), or kNoType

    const TypeInfo* type() const;      // null for numbers, text, bytes, arrays of arrays and variants
    const ElementType* inner() const;  // of an array of arrays
};

// What a collection is, beside its wire.
struct CollectionInfo {
    CollectionShape shape = CollectionShape::kNone;
    const char* element = "";  // the identifier of the element, "" where it is any value
};

struct ParamInfo {
    const char* name;  // the Python keyword
    Wire wire;
    bool by_ref;   // two arguments on the wire: the incoming value, then a pointer to the outgoing one
    int16_t type;  // index into types(), or kNoType
    CollectionInfo collection;
};

struct PropertyInfo {
    const char* name;  // managed name
    Wire wire;
    bool is_static;
    bool writable;
    int16_t type;  // index into types(), or kNoType
    CollectionInfo collection;
};

struct EntryInfo {
    const char* name;    // as asked for, "call_000_Load"
    const char* member;  // managed member name, "Load"; the simple type name for a constructor
    EntryRole role;
    Wire result;
    int16_t result_type;        // index into types(), or kNoType
    CollectionInfo collection;  // of the result
    int16_t property;           // index into the declaring type's properties, or -1
    // One character for the result and one for each argument on the wire, `self` and out slots included:
    // v void, b bool, c C s S i I l L signed and unsigned integers of 8 to 64 bits, f float, d double,
    // p handle, V VariantArg*, T PyStringArg*, B PyBytesArg*, O PyObject*, o PyObjectOutArg*,
    // k PyCollectionArg*, t pointer to two words of a date, D decimal, G identifier, r pointer to any other out slot.
    const char* signature;
    std::span<const ParamInfo> params;
};

struct EnumMember {
    const char* name;  // Python name
    int64_t value;     // bit pattern, in 64 bits
};

struct TypeInfo {
    const char* full_name;   // "Zelmor.Imaging.Image"
    const char* name;        // "Image"
    const char* host_class;  // "WrpNs_Zelmor.WrpNs_Imaging.WrpCs_Image_4B725488"
    const char* assembly;    // "WrpInterop.Zelmor.Imaging"
    TypeKind kind;
    bool disposable;
    bool constructible;                   // has a public constructor
    bool flags;                           // an enumeration with the flags attribute
    Wire width;                           // underlying integer of an enumeration
    int16_t base;                         // index into types(), or kNoType
    std::span<const int16_t> interfaces;  // indices into types()
    std::span<const PropertyInfo> properties;
    std::span<const EntryInfo> entries;  // in binding order
    std::span<const EnumMember> members;
};

// All types of all catalogues, the siblings' included. The position of a type is its run-time type id minus one.
std::span<const TypeInfo> types();
// All elements of typed collections, in the order of their identifiers.
std::span<const ElementType> elements();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CATALOGUE_TABLES_H
