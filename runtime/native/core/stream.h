// A managed System.IO.Stream: the interface through which behaviors read and write, whatever the source.
//
// A Python file (PyFileStream, through the raw-IO callbacks), a file on disk, or memory. A stream argument of an entry
// point becomes one of these; a Python file that comes back as a result is the Python object itself.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_STREAM_H
#define ZELMOR_RUNTIME_NATIVE_CORE_STREAM_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "exchange/wire/records.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/object.h"

namespace zelmor::embed {

namespace api {
enum class SeekOrigin : int32_t;  // its values are in generated/runtime/Zelmor.Imaging.h
}

class ManagedStream : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.IO.Stream";
    using ManagedObject::ManagedObject;

    virtual bool can_read() const = 0;
    virtual bool can_write() const = 0;
    virtual bool can_seek() const = 0;
    virtual int64_t length() = 0;
    virtual int64_t position() = 0;
    virtual int64_t seek(int64_t offset, api::SeekOrigin origin) = 0;  // the new position
    void set_position(int64_t position);
    virtual void set_length(int64_t length) = 0;
    virtual size_t read(std::span<std::byte> into) = 0;  // bytes read, 0 at the end
    virtual void write(std::span<const std::byte> from) = 0;
    virtual int read_byte();  // -1 at the end
    virtual void write_byte(uint8_t value);
    virtual void flush() = 0;
    // Closes what is behind the stream; dispose() does the same.
    virtual void close() { dispose(); }
    // The open file behind the stream, or -1.
    virtual int descriptor() const { return -1; }
    // The Python file behind the stream, or null: a result shows that one instead of a wrapper.
    virtual PyObject* python_file() const { return nullptr; }

    std::vector<std::byte> read_to_end();          // from the position on
    void read_exactly(std::span<std::byte> into);  // EndOfStreamException when there is less
};

// ArgumentException for a number that the enumeration does not have.
void require_known(api::SeekOrigin origin);

// The type that all streams derive from.
const TypeInfo& stream_type();

// A stream argument (a wrapper or a Python file); ArgumentNullException naming the parameter for None.
Ref<ManagedStream> read_stream(const VariantArg* arg, const char* parameter = "stream");
// The same, empty for None.
Ref<ManagedStream> read_stream_or_null(const VariantArg* arg);
// Fills the out record of a stream result.
void write_stream(const Ref<ManagedStream>& stream, PyCollectionArg* out);

// Holds the file for as long as the stream lives, so that a container may keep it beyond the call.
Ref<ManagedStream> make_python_file_stream(PyObject* file);
Ref<ManagedStream> make_memory_stream(std::vector<std::byte> content = {});
enum class FileUse { kRead, kReadWrite, kCreate };  // open, open for writing too, create or empty
// FileNotFoundException, DirectoryNotFoundException, UnauthorizedAccessException or IOException naming the path, and
// what was being done with it.
Ref<ManagedStream> open_file_stream(const std::string& path, FileUse use, const char* doing = "open");

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_STREAM_H
