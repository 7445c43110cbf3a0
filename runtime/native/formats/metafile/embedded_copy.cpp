// Records by what would be written of them; see embedded_copy.h.
#include "runtime/native/formats/metafile/embedded_copy.h"

#include <algorithm>
#include <string_view>

#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

namespace {

bool is_part_of_copy(const ManagedObject& record) {
    return std::string_view("WmfEscapeEnhancedMetafile") == record.type().name;
}

FileBytes bytes_of_part(const Records& records, bool copies) {
    FileBytes all;
    for (const Ref<ManagedObject>& record : records) {
        // The end is written whether it is in the list or not.
        if (is_part_of_copy(*record) == copies && std::string_view("WmfEof") != record->type().name) {
            const FileBytes bytes = write_record(*record);
            all.insert(all.end(), bytes.begin(), bytes.end());
        }
    }
    return all;
}

}  // namespace

EmbeddedCopy::EmbeddedCopy(const Records& records) {
    m_comments = bytes_of_part(records, true);
    if (!m_comments.empty()) {
        m_others = bytes_of_part(records, false);
    }
}

bool EmbeddedCopy::is_outdated(const Records& records) const {
    if (m_comments.empty()) {
        return false;
    }
    try {
        return bytes_of_part(records, true) == m_comments && bytes_of_part(records, false) != m_others;
    } catch (const MetafileError&) {
        return true;  // a record that has no place in a file is not one of those that were read
    }
}

Records without_copy(const Records& records) {
    Records others = records;
    std::erase_if(others, [](const Ref<ManagedObject>& record) { return is_part_of_copy(*record); });
    return others;
}

}  // namespace zelmor::embed::metafile
