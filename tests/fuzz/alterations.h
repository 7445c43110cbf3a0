// Files that were altered by lot: the same numbers give the same files.
#ifndef ZELMOR_TESTS_FUZZ_ALTERATIONS_H
#define ZELMOR_TESTS_FUZZ_ALTERATIONS_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace zelmor::fuzz {

struct NamedFile {
    std::string name;  // begins with the name of its format and a hyphen
    std::vector<uint8_t> bytes;

    std::string format() const { return name.substr(0, name.find('-')); }
};

// The standard's distributions differ between libraries; its engines do not.
class Lots {
 public:
    Lots(uint64_t seed, uint64_t number) : m_engine(seed * 0x9E3779B97F4A7C15 + number) {}
    uint64_t any() { return m_engine(); }
    // 0 to count - 1; 0 of nothing.
    size_t below(size_t count) { return count == 0 ? 0 : static_cast<size_t>(m_engine() % count); }
    bool one_in(size_t count) { return below(count) == 0; }

 private:
    std::mt19937_64 m_engine;
};

// The file with one to eight changes, some of which take pieces of other files.
std::vector<uint8_t> altered(const NamedFile& file, const std::vector<NamedFile>& others, Lots& lots);

}  // namespace zelmor::fuzz

#endif  // ZELMOR_TESTS_FUZZ_ALTERATIONS_H
