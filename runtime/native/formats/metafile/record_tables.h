// The layouts of metafile records as tables: which fields a record or object has in a file, in which order and form.
//
// The tables are written by the generator from the files of api/records. They are all that the runtime knows about the
// fields of a record: one reader and one writer work from them (record_walk.h).
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_TABLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_TABLES_H

#include <cstdint>
#include <span>

namespace zelmor::embed::metafile {

enum class RecordFamily : uint8_t { kWmf, kEmf, kEmfPlus };

// A raw block describes records of a number that the tables do not have.
enum class BlockKind : uint8_t { kRaw, kRecord, kObject };

// What a line of a layout is.
enum class ItemKind : uint8_t {
    kField,     // one value of a form
    kList,      // as many values of a form as an expression says
    kSeries,    // bytes, text, or a list whose elements differ in length
    kObject,    // an object that another block describes
    kObjects,   // a list of such objects
    kRecords,   // records of the EMF+ family, one behind the other
    kBits,      // some bits of a field
    kAlign,     // bytes up to the next multiple of a number, counted from the record's beginning
    kMark,      // a place without bytes
    kComputed,  // a value that follows from others and has no bytes
    kCopied,    // the properties of another object, which the object has too
    kView,      // a rectangle of four other properties
};

enum class RecordForm : uint8_t {
    kNone,
    kU8,
    kI8,
    kU16,
    kI16,
    kU32,
    kI32,
    kU64,
    kF32,
    kColorref,   // red, green, blue, a byte that is kept; a property has the color as ARGB
    kArgb,       // blue, green, red, alpha
    kRgbquad,    // blue, green, red, a byte that is kept
    kRgbtriple,  // blue, green, red
    kPalentry,   // red, green, blue, flags, which are kept
    kPoint32,    // x, y
    kPoint16,    // x, y
    kPoint16yx,  // y, x
    kSize32,     // width, height
    kRect32,     // left, top, right, bottom
    kRect16,     // the same
    kRect16yx,   // bottom, right, top, left
    kPointf,     // x, y
    kPoint16f,   // x, y as whole numbers
    kRectf,      // x, y, width, height
    kRect16f,    // the same as whole numbers
    kMatrix,     // m11, m12, m21, m22, dx, dy
    kBytes,
    kUtf16,   // as many characters
    kUtf16z,  // text and zeros in the place of so many characters
    kAnsi,    // one byte a character
    kAnsiz,
    kPointr,  // points relative to the one before, each number in one or two bytes
    kTsrect,  // rectangles relative to the one before, each number in one or two bytes
};

enum class StepCode : uint8_t {
    kEnd,
    kConstant,
    kValue,   // of a path
    kCount,   // the elements or characters of the property of a path
    kHas,     // whether that property is not null
    kSum,     // of the numbers in the list of a path
    kBytes,   // that the fields of a path have in the file
    kOffset,  // of the first of them from the record's beginning
    kKind,    // the number of the choice that fits the object of a path
    kMade,    // how many objects of a block the record has
    kSize,    // of the record
    kRest,    // the bytes behind the current place
    kHere,    // the current place
    kNumber,  // of the record's type
    kContinues,
    kParameter,
    kPeek16,  // the number at an offset of the record
    kPeek32,
    kAdd,
    kSubtract,
    kMultiply,
    kDivide,
    kAnd,
    kOr,
    kShiftLeft,
    kShiftRight,
    kEqual,
    kUnequal,
    kLess,
    kGreater,
    kLessOrEqual,
    kGreaterOrEqual,
    kNot,
    kMin,
    kMax,
    kPick,
};

struct Step {
    StepCode code;
    int64_t argument;
};

enum class PathScope : uint8_t { kLocal, kObject, kOuter };

// A local name of a block, a property of its object or of an object in it, or a property of the object around it.
struct RecordPath {
    PathScope scope;
    const char* first;
    const char* second;  // "" where there is none
};

// Expressions are positions in record_steps(), -1 where there is none.
struct RecordItem {
    ItemKind kind;
    RecordForm form;
    int16_t path;       // into record_paths(), or -1
    int16_t reference;  // into record_blocks() or record_choices(), or -1
    bool is_choice;
    bool fixed;    // a length that the block states
    bool checked;  // a list that is written has the length that the expression says
    int8_t low;    // of bits
    int8_t high;
    int16_t preset;  // of a local field; the number of an alignment; 1 for bits with a sign
    int32_t others;  // into record_others(): further paths
    int32_t other_count;
    int32_t count;
    int32_t condition;
    int32_t present;   // whether a field that a record may lack is there
    int32_t at;        // where it stands in the record
    int32_t limit;     // how many bytes an object has
    int32_t argument;  // of the object's block
    int32_t by;        // the number of the choice
    int32_t derived;   // the value that is written
    int32_t writing;   // of a computed value, where it differs from that when reading
};

struct RecordBlock {
    const char* name;
    const char* type;  // the full managed name of the class
    RecordFamily family;
    BlockKind kind;
    int32_t number;     // of the record's type
    int32_t condition;  // by which records of the same number are told apart
    int32_t first;      // into record_items()
    int32_t count;
};

struct ChoiceRow {
    int64_t value;
    bool otherwise;  // of every value that has no row
    int16_t block;   // -1 for no object
};

struct RecordChoice {
    const char* name;
    std::span<const ChoiceRow> rows;
};

std::span<const RecordPath> record_paths();
std::span<const Step> record_steps();
std::span<const RecordItem> record_items();
std::span<const int16_t> record_others();
std::span<const RecordBlock> record_blocks();
std::span<const RecordChoice> record_choices();

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_TABLES_H
