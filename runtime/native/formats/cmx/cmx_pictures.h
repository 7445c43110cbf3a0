// The pictures and patterns in CMX files, as objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_PICTURES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_PICTURES_H

#include <map>

#include "runtime/native/core/object.h"
#include "runtime/native/core/value.h"
#include "runtime/native/formats/cdr/riff_tree.h"
#include "runtime/native/formats/cmx/cmx_numbers.h"

namespace zelmor::embed {

class CmxPictures {
 public:
    // Reads the tables. Tree and file outlive the object.
    CmxPictures(const imagework::RiffTree& tree, std::span<const uint8_t> file, const CmxForm& form);

    // The picture with this number, counted from 1, as an array; empty where the file has none.
    Value embedded(uint16_t number) const { return array_of(m_embedded, number); }
    Value pattern(uint16_t number) const { return array_of(m_patterns, number); }

 private:
    using Places =
        std::map<uint32_t, const imagework::RiffChunk*>;  // of lists of a picture, by their place in the file

    Value array_of(const std::map<uint32_t, const imagework::RiffChunk*>& numbered, uint16_t number) const;
    Ref<ManagedObject> picture_of(const imagework::RiffChunk& list) const;
    void read_patterns(const imagework::RiffChunk& table, const Places& places);
    void read_embedded(const imagework::RiffChunk& table, const Places& places);

    CmxForm m_form;
    std::map<uint32_t, const imagework::RiffChunk*> m_embedded, m_patterns;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_PICTURES_H
