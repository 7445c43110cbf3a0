// Tries altered picture files. Started by run.py, which makes the files to alter and goes on after a crash.
//
// fuzz_pictures FOLDER SEED FIRST COUNT [MINUTES]
//
// FOLDER/files holds the files of other programs; those of the project's own encoders are added. The altered file that
// is being tried is FOLDER/current, behind its number in FOLDER/number, so that it survives a crash. Findings go to
// FOLDER/found. The last line counts the trials by format.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/fuzz/own_files.h"
#include "tests/fuzz/trial.h"

namespace zelmor::fuzz {
namespace {

namespace fs = std::filesystem;

std::vector<NamedFile> files_in(const fs::path& folder) {
    std::vector<NamedFile> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        files.push_back({entry.path().stem().string(), {std::istreambuf_iterator<char>(stream), {}}});
    }
    return files;
}

void write(const fs::path& path, const void* data, size_t size) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

// A file that takes all memory of the machine is found as one that gets none. The address sanitizer reserves far more
// than it uses, and has limits of its own (run.py).
void bound_memory() {
#ifndef __SANITIZE_ADDRESS__
    constexpr rlim_t kMost = rlim_t{3} << 30;
    const rlimit limit{kMost, kMost};
    if (setrlimit(RLIMIT_DATA, &limit) != 0) {
        throw std::runtime_error("the memory of the process cannot be bounded");
    }
#endif
}

struct Outcome {
    uint64_t trials = 0;
    int succeeded = 0;
    int refused = 0;
};

int run(const fs::path& folder, uint64_t seed, uint64_t first, uint64_t count, double minutes) {
    std::vector<NamedFile> files = files_in(folder / "files");
    for (NamedFile& file : own_files()) {
        files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    // The same number of trials for each format.
    std::map<std::string, std::vector<const NamedFile*>> formats;
    for (const NamedFile& file : files) {
        formats[file.format()].push_back(&file);
    }
    const auto begin = std::chrono::steady_clock::now();
    std::map<std::string, Outcome> outcomes;
    int findings = 0;
    const Bounds bounds;
    for (uint64_t number = first; number < first + count; ++number) {
        if (std::chrono::steady_clock::now() - begin > std::chrono::duration<double>(minutes * 60)) {
            break;
        }
        auto format = formats.begin();
        std::advance(format, static_cast<std::ptrdiff_t>(number % formats.size()));
        Lots lots(seed, number);
        const NamedFile& file = *format->second[lots.below(format->second.size())];
        const std::vector<uint8_t> bytes = altered(file, files, lots);
        const std::string name = std::to_string(number) + " " + file.name;
        write(folder / "current", bytes.data(), bytes.size());
        write(folder / "number", name.data(), name.size());
        Trial trial(bytes, lots, bounds);
        const auto found = trial.run();
        for (const std::string& line : found) {
            std::printf("FOUND seed %ju number %ju (%s): %s\n", static_cast<uintmax_t>(seed),
                        static_cast<uintmax_t>(number), file.name.c_str(), line.c_str());
        }
        if (!found.empty()) {
            const std::string kept = std::to_string(seed) + "-" + std::to_string(number) + "-" + file.name;
            write(folder / "found" / kept, bytes.data(), bytes.size());
        }
        std::fflush(stdout);
        findings += static_cast<int>(found.size());
        Outcome& outcome = outcomes[format->first];
        ++outcome.trials;
        outcome.succeeded += trial.succeeded();
        outcome.refused += trial.refused();
    }
    for (const auto& [format, outcome] : outcomes) {
        std::printf("DONE %s %ju files, %d steps succeeded, %d refused\n", format.c_str(),
                    static_cast<uintmax_t>(outcome.trials), outcome.succeeded, outcome.refused);
    }
    return findings == 0 ? 0 : 1;
}

}  // namespace
}  // namespace zelmor::fuzz

int main(int count, char** arguments) {
    if (count < 5) {
        std::fprintf(stderr, "usage: fuzz_pictures FOLDER SEED FIRST COUNT [MINUTES]\n");
        return 2;
    }
    try {
        zelmor::fuzz::bound_memory();
        const auto number = [&](int i) { return std::strtoull(arguments[i], nullptr, 10); };
        return zelmor::fuzz::run(arguments[1], number(2), number(3), number(4),
                                 count > 5 ? std::strtod(arguments[5], nullptr) : 1e9);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
