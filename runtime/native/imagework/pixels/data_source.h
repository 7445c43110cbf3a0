// The bytes of a file that a picture is decoded from, for as long as the picture needs them.
//
// They lie in memory (a stream was read to the end of its picture), or in an open file, which stays readable when its
// name is removed or given to another file. Nothing is mapped: a file that is cut off gives an error, not a signal.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_DATA_SOURCE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_DATA_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace zelmor::imagework {

class DataSource {
 public:
    virtual ~DataSource() = default;
    virtual uint64_t size() const = 0;
    // Copies bytes from `offset` on; how many there were. Any thread may call it.
    // PictureError(kDamaged) where the file was changed after it was opened, or cannot be read.
    virtual size_t read_at(uint64_t offset, std::span<uint8_t> out) const = 0;
    // All bytes, if they lie in memory; otherwise nothing.
    virtual std::span<const uint8_t> in_memory() const { return {}; }
};

using SharedSource = std::shared_ptr<const DataSource>;

// Bytes in memory, which the source takes over.
SharedSource memory_source(std::vector<uint8_t> bytes);
// Bytes in memory that outlive the source.
SharedSource borrowed_source(std::span<const uint8_t> bytes);
// A regular file that is open for reading; the source has a descriptor of its own. A part of the runtime alone, which
// has the one register of such sources (open_files.cpp); the backend gets sources.
SharedSource file_source(int descriptor);
// All bytes of a source.
std::vector<uint8_t> all_bytes(const DataSource& source);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_DATA_SOURCE_H
