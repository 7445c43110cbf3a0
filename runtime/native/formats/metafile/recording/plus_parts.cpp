// Recording behind records of EMF+; see plus_parts.h.
#include "runtime/native/formats/metafile/recording/plus_parts.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/native/formats/metafile/player/fields.h"
#include "runtime/native/formats/metafile/recording/new_records.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int64_t kPlusComment = 0x2B464D45;  // "EMF+"

bool is_a(const ManagedObject& record, std::string_view name) {
    return name == record.type().name;
}
bool is_plus_comment(const Ref<ManagedObject>& record) {
    return is_a(*record, "EmfCommentEmfPlus");
}

std::vector<Ref<ManagedObject>> plus_records(const ManagedObject& comment) {
    return objects_in(comment, "Records");
}
bool hands_over(const Ref<ManagedObject>& record) {
    const auto records = is_plus_comment(record) ? plus_records(*record) : std::vector<Ref<ManagedObject>>();
    return !records.empty() && is_a(*records.back(), "EmfPlusGetDc");
}

Ref<ManagedObject> plus_comment(const std::vector<Ref<ManagedObject>>& records) {
    auto comment = new_emf_record("EmfCommentEmfPlus");
    set_property(*comment, "CommentIdentifier", kPlusComment);
    set_list(*comment, "Records", {records.begin(), records.end()});
    return comment;
}
Ref<ManagedObject> plus_comment(const char* name) {
    return plus_comment({make_instance(std::string("Zelmor.Imaging.FileFormats.Emf.EmfPlus.Records.") + name)});
}

// The records without the last EmfPlusEndOfFile.
void take_end(Records& records) {
    const auto last = std::find_if(records.rbegin(), records.rend(), is_plus_comment);
    auto inside = last != records.rend() ? plus_records(**last) : std::vector<Ref<ManagedObject>>();
    if (inside.empty() || !is_a(*inside.back(), "EmfPlusEndOfFile")) {
        return;
    }
    inside.pop_back();
    if (inside.empty()) {
        records.erase(std::next(last).base());
    } else {
        *last = plus_comment(inside);
    }
}

}  // namespace

RecordingParts recording_parts(Records records) {
    RecordingParts parts;
    const bool has_plus = std::any_of(records.begin(), records.end(), is_plus_comment);
    if (has_plus) {
        // Readers of EMF+ do not see the state that is saved before they are handed over to EMF.
        if (const auto first = std::find_if(records.begin(), records.end(), hands_over); first != records.end()) {
            records.insert(std::next(first), new_emf_record("EmfSaveDc"));
        }
        take_end(records);
        records.push_back(plus_comment("EmfPlusGetDc"));
        parts.after.push_back(plus_comment("EmfPlusEndOfFile"));
    }
    // The first of the saved states, so that states that the file leaves saved do not count.
    records.insert(records.begin(), new_emf_record("EmfSaveDc"));
    const auto restore = new_emf_record("EmfRestoreDc");
    set_property(*restore, "SavedDc", int64_t{1});
    records.push_back(restore);
    parts.before = std::move(records);
    return parts;
}

}  // namespace zelmor::embed::metafile
