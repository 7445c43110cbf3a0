// Writing DICOM files: the header of many elements, and frames that are encoded already.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_WRITER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_WRITER_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_encoding.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// How the pixels of a file are stored, and what tells of them.
struct DicomForm {
    std::string syntax_uid;
    std::string photometric;
    int width = 0;
    int height = 0;
    int samples = 1;
    int allocated = 8;
    int stored = 8;
    bool is_signed = false;
    std::vector<Argb> palette = {};
    std::vector<uint64_t> deep_palette = {};
    std::optional<Resolution> resolution = {};
    bool compressed = false;
    std::string lossy_method = {};  // of frames that have lost something
};

// The form that a picture is written in, whose rows are as the header says.
DicomForm dicom_form_of_rows(const RowsHeader& header, const DicomEncoding& encoding);

// The samples of rows in the bytes of a file, without compression.
std::vector<uint8_t> stored_samples(const PixelForm& form, int stored, std::vector<uint8_t> rows);
// A frame of such bytes in runs.
std::vector<uint8_t> dicom_runs(const DicomForm& form, std::span<const uint8_t> frame);

// The elements of a new file, by their tags: each whole, as it stands in the file.
using DicomElements = std::map<DicomTag, std::vector<uint8_t>>;

// The elements of a file that another picture may have too: all but those that tell of its pixels. With `same_samples`
// the windows and the rescaling stay, since the numbers mean the same.
DicomElements kept_elements(const DicomFile& file, bool same_samples);
// All elements of a file but the pixels, for frames that are copied from it.
DicomElements all_elements(const DicomFile& file);

// The file. `elements` has what is kept of another one; what has to be there is added.
std::vector<uint8_t> dicom_file(const DicomForm& form, std::span<const std::vector<uint8_t>> frames,
                                DicomElements elements);
// The file with some frames of another one, in its own form.
std::vector<uint8_t> dicom_file_of_frames(const DicomFile& file, std::span<const std::vector<uint8_t>> frames);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_WRITER_H
