// The parts that a picture file consists of: segments, chunks, blocks, entries of directories.
#ifndef ZELMOR_TESTS_FUZZ_FILE_PARTS_H
#define ZELMOR_TESTS_FUZZ_FILE_PARTS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::fuzz {

struct Part {
    size_t at;
    size_t length;
};

// In the order of the file, without its signature; nothing of a file that is no picture. Parts behind damage are left
// out. Those of TIFF are the entries of its directories.
std::vector<Part> parts_of(std::span<const uint8_t> file);

// Makes the checksums of PNG chunks those of their bytes, and the length of a RIFF file that of the file: readers would
// look no further otherwise.
void mend_checks(std::vector<uint8_t>& file);

}  // namespace zelmor::fuzz

#endif  // ZELMOR_TESTS_FUZZ_FILE_PARTS_H
