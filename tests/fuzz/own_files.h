// Small files of every kind that the project's own encoders write.
#ifndef ZELMOR_TESTS_FUZZ_OWN_FILES_H
#define ZELMOR_TESTS_FUZZ_OWN_FILES_H

#include <vector>

#include "tests/fuzz/alterations.h"

namespace zelmor::fuzz {

std::vector<NamedFile> own_files();

}  // namespace zelmor::fuzz

#endif  // ZELMOR_TESTS_FUZZ_OWN_FILES_H
