// Runs and literals; see pack_bits.h.
#include "runtime/native/formats/psd/pack_bits.h"

#include <algorithm>

namespace zelmor::imagework {

namespace {
constexpr size_t kLongest = 128;  // bytes of one run, and of one piece of literals
constexpr int kNothing = -128;    // a code that stands for no bytes
}  // namespace

size_t unpack_bits(std::span<const uint8_t> coded, std::span<uint8_t> out) {
    size_t done = 0;
    for (size_t at = 0; at < coded.size() && done < out.size();) {
        const int byte = coded[at++];
        const int code = byte < 128 ? byte : byte - 256;
        if (code == kNothing) {
            continue;
        }
        if (code >= 0) {
            const size_t count = std::min({static_cast<size_t>(code) + 1, coded.size() - at, out.size() - done});
            std::copy_n(coded.begin() + static_cast<std::ptrdiff_t>(at), count,
                        out.begin() + static_cast<std::ptrdiff_t>(done));
            at += static_cast<size_t>(code) + 1;
            done += count;
            continue;
        }
        if (at == coded.size()) {
            break;
        }
        const size_t count = std::min(static_cast<size_t>(1 - code), out.size() - done);
        std::fill_n(out.begin() + static_cast<std::ptrdiff_t>(done), count, coded[at++]);
        done += count;
    }
    return done;
}

void pack_bits(std::span<const uint8_t> row, std::vector<uint8_t>& out) {
    const auto run_at = [&](size_t at) {
        size_t end = at + 1;
        while (end < row.size() && end - at < kLongest && row[end] == row[at]) {
            end++;
        }
        return end - at;
    };
    for (size_t at = 0; at < row.size();) {
        const size_t run = run_at(at);
        if (run >= 2) {
            out.push_back(static_cast<uint8_t>(1 - static_cast<int>(run)));
            out.push_back(row[at]);
            at += run;
            continue;
        }
        // Literals up to the next run of three; a run of two among them would cost as much.
        size_t end = at + 1;
        while (end < row.size() && end - at < kLongest &&
               !(end + 2 < row.size() && row[end] == row[end + 1] && row[end] == row[end + 2])) {
            end++;
        }
        out.push_back(static_cast<uint8_t>(end - at - 1));
        out.insert(out.end(), row.begin() + static_cast<std::ptrdiff_t>(at),
                   row.begin() + static_cast<std::ptrdiff_t>(end));
        at = end;
    }
}

}  // namespace zelmor::imagework
