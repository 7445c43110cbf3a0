// The planes of a PSD file that is written, compressed row by row.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PLANE_CODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PLANE_CODER_H

#include <zlib.h>

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/formats/psd/psd_resources.h"

namespace zelmor::imagework {

// Codes the rows of one plane, in memory until all are there.
class PlaneCoder {
 public:
    PlaneCoder(PsdCompression compression, int depth, bool large);
    ~PlaneCoder();
    PlaneCoder(const PlaneCoder&) = delete;
    PlaneCoder& operator=(const PlaneCoder&) = delete;

    // PictureError(kEncoding) for a row whose length does not fit into the table of lengths.
    void add(std::span<const uint8_t> row);
    void finish();

    const PsdBytes& data() const { return m_data; }
    const std::vector<uint32_t>& lengths() const { return m_lengths; }  // of coded rows
    uLong check() const { return m_check; }
    uint64_t size() const { return m_size; }  // before compression

 private:
    void deflate_all(int flush);

    PsdCompression m_compression;
    int m_depth;
    bool m_large;
    PsdBytes m_data;
    std::vector<uint32_t> m_lengths;
    PsdBytes m_row;
    z_stream m_zip{};
    bool m_open = false;
    uLong m_check;
    uint64_t m_size = 0;
};

// The compression, and planes as they stand behind it: one stream goes over all of them.
void put_planes(PsdBytes& out, PsdCompression compression, bool large, std::span<const PlaneCoder* const> planes);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PLANE_CODER_H
