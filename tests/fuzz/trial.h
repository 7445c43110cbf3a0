// Everything that the runtime does with a picture file, done with an altered one.
#ifndef ZELMOR_TESTS_FUZZ_TRIAL_H
#define ZELMOR_TESTS_FUZZ_TRIAL_H

#include <functional>
#include <string>
#include <vector>

#include "tests/fuzz/alterations.h"
#include "tests/unit/imagework/backend_library.h"

namespace zelmor::fuzz {

// The bounds of one step.
struct Bounds {
    double seconds = 1;
    uint64_t bytes = uint64_t{96} << 20;
};

class Trial {
 public:
    Trial(const std::vector<uint8_t>& file, Lots& lots, const Bounds& bounds);

    // Does all steps. Each finding is a line: the step, and what is wrong with it.
    std::vector<std::string> run();
    // How many steps succeeded, and how many ended in a proper error.
    int succeeded() const { return m_succeeded; }
    int refused() const { return m_refused; }

 private:
    void step(const char* name, const std::function<void()>& work);
    void note(const std::string& finding);
    void refuse(const char* name, const std::string& text);

    imagework::SharedSource source() const;
    imagework::DecodeOptions options(imagework::Recovery recovery) const;
    bool small(size_t frame) const;

    void find_facts();
    void find_end();
    void open_and_decode(imagework::Recovery recovery);
    void read_reduced();
    void cut_and_shrink();
    void save();
    void save_frames();
    void read_metadata();

    const std::vector<uint8_t>& m_file;
    Lots& m_lots;
    Bounds m_bounds;
    bool m_in_memory;  // otherwise the bytes are read piece by piece, as those of a file are
    imagework::SharedFrames m_frames;
    std::vector<std::string> m_findings;
    int m_succeeded = 0;
    int m_refused = 0;
};

}  // namespace zelmor::fuzz

#endif  // ZELMOR_TESTS_FUZZ_TRIAL_H
