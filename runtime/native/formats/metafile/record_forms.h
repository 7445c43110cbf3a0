// The forms in which single values stand in a metafile, and the values of properties that they become.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_FORMS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_FORMS_H

#include <span>

#include "runtime/native/catalogue/tables.h"
#include "runtime/native/formats/metafile/metafile_object.h"
#include "runtime/native/formats/metafile/record_tables.h"

namespace zelmor::embed::metafile {

using FileView = std::span<const uint8_t>;

// The bytes of one value; of text and bytes, those of one unit.
size_t width_of(RecordForm form);
uint64_t read_number(FileView bytes);
void append_number(FileBytes& out, uint64_t number, size_t width);
// Whether a value of the form is one number.
bool is_number(RecordForm form);

// The number of a property: integers, enumerations, truth; 0 for null.
int64_t number_of(const Value& value);
// A number cut to the width of a property, as the property holds it.
Value narrowed(int64_t number, Wire wire);

// One value from its bytes, for a property of that wire.
Value decode_value(RecordForm form, FileView bytes, Wire wire);
// The bytes of a value; MetafileError where the form cannot hold it. `what` names the property in the message.
void encode_value(RecordForm form, const Value& value, const char* what, FileBytes& out);

// Text and bytes of a series; `bytes` is all of it.
Value decode_series(RecordForm form, FileView bytes);
// With a fixed number of units the bytes are filled up with zeros; text that does not fit is a MetafileError.
FileBytes encode_series(RecordForm form, const Value& value, bool fixed, size_t units, const char* what);

// Lists whose elements are relative to the one before: `count` of them from the beginning of the bytes, of which `used`
// tells how many they took. MetafileError where the bytes end first.
std::vector<Value> decode_relative(RecordForm form, FileView bytes, size_t count, size_t& used);
FileBytes encode_relative(RecordForm form, const std::vector<Value>& values, const char* what);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_FORMS_H
