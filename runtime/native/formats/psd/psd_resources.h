// Resources of PSD files: their bytes, and sections of them that are written.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_RESOURCES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_RESOURCES_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

using PsdBytes = std::vector<uint8_t>;

// Numbers of the format are big-endian.
void put_number(PsdBytes& out, uint64_t value, int bytes);
void put_text(PsdBytes& out, std::string_view text);
void put_bytes(PsdBytes& out, std::span<const uint8_t> bytes);

// The bytes there; PictureError(kDamaged) where the file has become shorter.
PsdBytes psd_bytes(const DataSource& source, const PsdRange& range);

// Resources by their numbers: new data, or nothing for those that are not to be written.
using ResourceChanges = std::map<uint16_t, std::optional<PsdBytes>>;

// The resources of a file with the changes, without the length of the section. What is not changed stays byte for byte;
// new ones follow in the order of their numbers. `blocks` are the resources of the source; null and none for a new
// file.
PsdBytes changed_resources(const DataSource* source, std::span<const PsdResource> blocks,
                           const ResourceChanges& changes);

// The file with these changes of its resources.
PsdBytes with_psd_resources(std::span<const uint8_t> file, const ResourceChanges& changes);

// The data of a resource; empty where there is none.
PsdBytes psd_resource(const SharedSource& source, uint16_t id);

// What of the resources describes the picture; what is empty is not there.
struct PsdMetadata {
    PsdBytes exif;  // from the byte order on
    PsdBytes xmp;
    PsdBytes resources;  // those that neither the pixels nor layers and channels decide on; IPTC data are among them
};
// Nothing of a file whose sections do not fit into it, which the decoder reports. PictureError(kDamaged) for more than
// one file may have.
PsdMetadata find_psd_metadata(const SharedSource& source);
// The file with these metadata in the place of its own; without the kinds that are empty. The resources, which may come
// from a file of another format, replace those of the same sort; others of them are left out.
PsdBytes with_psd_metadata(std::span<const uint8_t> file, const PsdMetadata& metadata);

// Whether resources of this number tell of layers, or of channels behind the colors.
bool is_of_layers(uint16_t id);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_RESOURCES_H
