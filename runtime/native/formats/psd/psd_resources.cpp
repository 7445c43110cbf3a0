// Reading and writing resources; see psd_resources.h.
#include "runtime/native/formats/psd/psd_resources.h"

#include <algorithm>
#include <cassert>
#include <string>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Resources that the pixels of a file decide on.
constexpr uint16_t kOfPixels[] = {kPsdResolution,       kPsdOldThumbnail, kPsdThumbnail, kPsdProfile, kPsdPaletteCount,
                                  kPsdTransparentIndex, kPsdExif,         kPsdExif3,     kPsdXmp,     kPsdVersionInfo};
constexpr uint16_t kOfLayers[] = {kPsdLayerState, kPsdLayerGroups,         kPsdSlices,
                                  kPsdLayerComps, kPsdSelectedLayers,      kPsdEnabledGroups,
                                  kPsdAlphaNames, kPsdDisplayInfo,         kPsdUnicodeAlphaNames,
                                  kPsdAlphaIds,   kPsdAlternateSpotColors, kPsdDisplayInfo3};

bool is_one_of(std::span<const uint16_t> ids, uint16_t id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// Whether resources of this number describe the picture, and may go into the file of another one.
bool is_description(uint16_t id) {
    return !is_of_layers(id) && !is_one_of(kOfPixels, id);
}

void put_resource(PsdBytes& out, uint16_t id, std::span<const uint8_t> data) {
    put_text(out, "8BIM");
    put_number(out, id, 2);
    put_number(out, 0, 2);  // no name
    put_number(out, data.size(), 4);
    put_bytes(out, data);
    if (data.size() % 2 != 0) {
        out.push_back(0);
    }
}

}  // namespace

void put_number(PsdBytes& out, uint64_t value, int bytes) {
    for (int i = bytes; i-- > 0;) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
void put_text(PsdBytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}
void put_bytes(PsdBytes& out, std::span<const uint8_t> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

PsdBytes changed_resources(const DataSource* source, std::span<const PsdResource> blocks,
                           const ResourceChanges& changes) {
    assert(source != nullptr || blocks.empty());
    PsdBytes out;
    ResourceChanges left = changes;
    for (const PsdResource& block : blocks) {
        const auto change = changes.find(block.id);
        if (change == changes.end()) {
            put_bytes(out, psd_bytes(*source, block.block));
            if (block.block.size % 2 != 0) {
                out.push_back(0);  // the last one of a section may lack its padding
            }
            continue;
        }
        const auto pending = left.find(block.id);
        if (!change->second || pending == left.end()) {
            continue;
        }
        if (psd_bytes(*source, block.data) == *change->second && block.block.size % 2 == 0) {
            put_bytes(out, psd_bytes(*source, block.block));
        } else {
            put_resource(out, block.id, *change->second);
        }
        left.erase(pending);
    }
    for (const auto& [id, data] : left) {
        if (data) {
            put_resource(out, id, *data);
        }
    }
    return out;
}

PsdBytes psd_bytes(const DataSource& source, const PsdRange& range) {
    PsdBytes bytes(static_cast<size_t>(range.size));
    if (source.read_at(range.at, bytes) != bytes.size()) {
        throw PictureError(Failure::kDamaged, "the file that the picture was read from has become shorter");
    }
    return bytes;
}

bool is_of_layers(uint16_t id) {
    return is_one_of(kOfLayers, id);
}

PsdBytes with_psd_resources(std::span<const uint8_t> file, const ResourceChanges& changes) {
    const SharedSource source = borrowed_source(file);
    SourceBytes bytes(source);
    const PsdFile found = read_psd_structure(bytes, bytes.size());
    const PsdBytes resources = changed_resources(source.get(), found.blocks, changes);
    PsdBytes out(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(found.resources.at - 4));
    put_number(out, resources.size(), 4);
    put_bytes(out, resources);
    put_bytes(out, file.subspan(static_cast<size_t>(found.resources.end())));
    return out;
}

PsdBytes psd_resource(const SharedSource& source, uint16_t id) {
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    const PsdFile file = read_psd_structure(bytes, bytes.size());
    const PsdResource* found = file.find(id);
    return found == nullptr ? PsdBytes() : psd_bytes(*source, found->data);
}

PsdMetadata find_psd_metadata(const SharedSource& source) {
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    PsdMetadata metadata;
    PsdFile file;
    try {
        file = read_psd_structure(bytes, bytes.size());
    } catch (const PictureError&) {
        return metadata;
    }
    if (file.resources.size > limits::kTextBytes) {
        throw PictureError(Failure::kDamaged,
                           "the file has more than " + std::to_string(limits::kTextBytes) + " bytes of metadata");
    }
    if (const PsdResource* exif = file.find(kPsdExif)) {
        metadata.exif = psd_bytes(*source, exif->data);
    }
    if (const PsdResource* xmp = file.find(kPsdXmp)) {
        metadata.xmp = psd_bytes(*source, xmp->data);
    }
    ResourceChanges others;
    for (const PsdResource& block : file.blocks) {
        if (!is_description(block.id)) {
            others[block.id] = std::nullopt;
        }
    }
    metadata.resources = changed_resources(source.get(), file.blocks, others);
    return metadata;
}

PsdBytes with_psd_metadata(std::span<const uint8_t> file, const PsdMetadata& metadata) {
    const SharedSource target = borrowed_source(file);
    SourceBytes target_bytes(target);
    const PsdFile there = read_psd_structure(target_bytes, target_bytes.size());
    ResourceChanges changes;
    for (const PsdResource& block : there.blocks) {
        if (is_description(block.id)) {
            changes[block.id] = std::nullopt;
        }
    }
    const SharedSource source = borrowed_source(metadata.resources);
    SourceBytes bytes(source);
    for (const PsdResource& block : walk_psd_resources(bytes, {0, metadata.resources.size()})) {
        if (is_description(block.id)) {
            changes[block.id] = psd_bytes(*source, block.data);
        }
    }
    const auto set = [&](uint16_t id, const PsdBytes& data) {
        changes[id] = data.empty() ? std::nullopt : std::optional(data);
    };
    set(kPsdExif, metadata.exif);
    set(kPsdXmp, metadata.xmp);
    changes[kPsdExif3] = std::nullopt;
    return with_psd_resources(file, changes);
}

}  // namespace zelmor::imagework
