// The one reader and the one writer of metafile records: they walk over a block of the tables, item by item.
//
// Reading and writing are the same walk in two directions, so that what one of them does about a place, a condition or
// a length the other does too. Beside the objects, a walk notes where each value stands (its chunk): by these places a
// record that keeps its source is patched.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_WALK_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_WALK_H

#include <deque>
#include <utility>
#include <vector>

#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/metafile/record_forms.h"

namespace zelmor::embed::metafile {

// An EMF+ object that stands in several records, while these are read.
struct ContinuedObject {
    Ref<ManagedObject> first;
    FileBytes data;
};

// A record from its bytes, all of them: an object of its class, or of the raw class of the family where its number is
// not known. MetafileError for a record whose fields do not fit into it.
Ref<ManagedObject> read_record(RecordFamily family, FileView bytes, ContinuedObject& continued);
// The bytes of a record: those that it was read from if nothing changed. MetafileError where a value has no place.
FileBytes write_record(const ManagedObject& record);

// An object of a block without a record around it; for the parts of a continued object.
Ref<ManagedObject> read_object(const RecordBlock& block, FileView bytes);
FileBytes write_object(const RecordBlock& block, const ManagedObject& object);

// Spreads the object of the first of these records over all of them, if it is another than the one that they hold.
void write_parts(const std::vector<Ref<ManagedObject>>& parts);

// The block that describes objects of this class or, for a record, of the class that it derives from; null if none.
const RecordBlock* block_of(const TypeInfo& type, bool record);

// -- within the walk --

constexpr int64_t kNowhere = -1;

// An object on the way through its block.
struct Frame {
    const RecordBlock* block;
    ManagedObject* object;
    Frame* outer;
    int64_t index;  // in a list of the outer object, or kNowhere
    int64_t parameter;
    MetafileObject* keeper;  // that keeps what no property stands for: the object, or the nearest around it
    std::vector<std::pair<int16_t, int64_t>> values = {};  // by path: local fields, and numbers that are derived

    struct Place {
        int16_t path;
        size_t begin, end;
    };
    std::vector<Place> places = {};
};

class Walk {
 public:
    struct Chunk {
        size_t begin, size;
    };

    // Reading: the record's bytes.
    Walk(FileView data, ContinuedObject* continued) : m_data(data), m_limit(data.size()), m_continued(continued) {}
    // Writing.
    Walk() : m_writing(true) {}

    void record(const RecordBlock& block, ManagedObject& object);
    // Whether the record is one of this block, by the numbers at some of its offsets.
    bool holds(const RecordBlock& block);

    const std::vector<Chunk>& chunks() const { return m_chunks; }
    FileBytes take() { return std::move(m_out); }

 private:
    struct Fixup {
        Frame* frame;
        const RecordItem* item;
        size_t position, width;
    };
    struct Deferred {
        Frame* frame;
        const RecordItem* item;
    };

    // record_steps.cpp: expressions and the values of paths.
    int64_t evaluate(Frame& frame, int32_t expression, const RecordItem& item);
    // Whether the value follows from places that are known at the end of the record only.
    bool needs_places(int32_t expression) const;
    bool is_known_when_writing(int32_t expression) const;
    int64_t value_of_path(Frame& frame, int16_t path);
    Value property_of_path(Frame& frame, int16_t path) const;
    int64_t kind_of(Frame& frame, int16_t path, const RecordItem& item);
    int64_t apply(StepCode code, std::vector<int64_t>& stack);

    void items(Frame& frame);
    void item(Frame& frame, const RecordItem& item);
    bool is_there(Frame& frame, const RecordItem& item);
    void field(Frame& frame, const RecordItem& item);
    void list(Frame& frame, const RecordItem& item);
    void series(Frame& frame, const RecordItem& item);
    void local_series(Frame& frame, const RecordItem& item);
    void object(Frame& frame, const RecordItem& item);
    void objects(Frame& frame, const RecordItem& item);
    void records(Frame& frame, const RecordItem& item);
    void bits(Frame& frame, const RecordItem& item);
    void align(Frame& frame, const RecordItem& item);
    void computed(Frame& frame, const RecordItem& item);
    void view(Frame& frame, const RecordItem& item);
    void copied(Frame& frame, const RecordItem& item);
    void deferred();
    void deferred_item(Frame& frame, const RecordItem& item);
    void child(Frame& frame, const RecordItem& item, ManagedObject& object, const RecordBlock& block, int64_t index);
    const RecordBlock* block_to_read(Frame& frame, const RecordItem& item);
    const RecordBlock& block_to_write(Frame& frame, const RecordItem& item, const ManagedObject& object);
    void end_of_record(Frame& frame);

    size_t position() const { return m_writing ? m_out.size() : m_at; }
    FileView need(Frame& frame, const RecordItem& item, uint64_t size);
    size_t counted(Frame& frame, const RecordItem& item, size_t width);
    void note(Frame& frame, const RecordItem& item, size_t begin);
    void put(FileView bytes) { m_out.insert(m_out.end(), bytes.begin(), bytes.end()); }
    // Stores a value in the property of an item's path, and reads it from there.
    void store(Frame& frame, const RecordItem& item, Value value);
    Value load(Frame& frame, const RecordItem& item) const;
    uint64_t with_bits(Frame& frame, const RecordItem& item, uint64_t raw);
    void keep_if_different(Frame& frame, const RecordItem& item, FileView read, const FileBytes& written);
    int32_t key(const RecordItem& item) const { return static_cast<int32_t>(&item - record_items().data()); }
    [[noreturn]] void fail(const Frame& frame, const RecordItem& item, const std::string& text) const;

    bool m_writing = false;
    FileView m_data;
    size_t m_at = 0;
    size_t m_limit = 0;
    uint64_t m_taken = 0;  // bytes by all fields
    size_t m_high = 0;     // behind the last byte that was read
    FileBytes m_out;
    std::deque<Frame> m_frames;
    std::vector<Chunk> m_chunks;
    std::vector<Fixup> m_fixups;
    std::deque<Deferred> m_deferred;
    std::vector<std::pair<const RecordBlock*, int64_t>> m_made;
    ContinuedObject* m_continued = nullptr;
    int m_depth = 0;
};

// The name of an item as messages have it: "EmfBitBlt.Bounds".
std::string name_of(const Frame& frame, const RecordItem& item);
// The class of a struct or class property, the list of a property, by path; the wire of a property.
const PropertyInfo* declared(const ManagedObject& object, const char* name);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORD_WALK_H
