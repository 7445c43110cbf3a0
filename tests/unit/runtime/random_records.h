// Objects of metafile records with values by chance, made from the tables: all fields, lists and objects of a layout.
#ifndef ZELMOR_TESTS_UNIT_RUNTIME_RANDOM_RECORDS_H
#define ZELMOR_TESTS_UNIT_RUNTIME_RANDOM_RECORDS_H

#include <random>

#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

class RandomRecords {
 public:
    explicit RandomRecords(uint32_t seed) : m_chance(seed) {}

    // A record of the block's class. Its values may contradict each other, so that it cannot be written.
    Ref<ManagedObject> record(const RecordBlock& block);

 private:
    void fill(const RecordBlock& block, ManagedObject& object, ManagedObject* outer, int depth);
    void item(const RecordBlock& block, const RecordItem& item, ManagedObject& object, ManagedObject* outer, int depth);
    const RecordBlock* chosen(const RecordItem& item, int depth, int64_t& number_of_row);
    Value value(RecordForm form, Wire wire);
    Value series(const RecordItem& item, const PropertyInfo& info);
    static Value make_list_of(const PropertyInfo& info, const std::vector<Value>& values);
    size_t length(const RecordItem& item);
    int64_t number(int64_t limit) { return static_cast<int64_t>(m_chance() % static_cast<uint64_t>(limit)); }

    std::mt19937 m_chance;
    size_t m_length = 0;  // of all lists and texts of a record, since some of them have one count
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_TESTS_UNIT_RUNTIME_RANDOM_RECORDS_H
