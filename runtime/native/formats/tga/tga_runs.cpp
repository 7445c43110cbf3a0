// Packets of pixels; see tga_runs.h.
#include "runtime/native/formats/tga/tga_runs.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace zelmor::imagework {
namespace {

constexpr uint8_t kRepeats = 0x80;
constexpr size_t kLongest = 128;

}  // namespace

bool read_tga_runs(SourceBytes& bytes, TgaRunPlace& place, size_t pixels, size_t pixel_bytes, uint8_t* to) {
    for (size_t done = 0; done < pixels;) {
        if (place.left == 0) {
            const auto found = bytes.at(place.at, 1);
            if (found.empty()) {
                return false;
            }
            place.repeats = (found[0] & kRepeats) != 0;
            place.left = static_cast<uint8_t>((found[0] & ~kRepeats) + 1);
            place.at++;
        }
        const size_t count = std::min<size_t>(place.left, pixels - done);
        const size_t length = place.repeats ? pixel_bytes : count * pixel_bytes;
        if (to == nullptr) {
            if (!bytes.has(place.at, length)) {
                return false;
            }
        } else {
            const auto found = bytes.at(place.at, length);
            if (found.size() != length) {
                return false;
            }
            if (place.repeats) {
                for (size_t i = 0; i < count; i++, to += pixel_bytes) {
                    std::memcpy(to, found.data(), pixel_bytes);
                }
            } else {
                to = std::copy(found.begin(), found.end(), to);
            }
        }
        place.left = static_cast<uint8_t>(place.left - count);
        if (!place.repeats || place.left == 0) {
            place.at += length;
        }
        done += count;
    }
    return true;
}

void put_tga_runs(std::span<const uint8_t> row, size_t pixel_bytes, std::vector<uint8_t>& out) {
    assert(row.size() % pixel_bytes == 0);
    const size_t width = row.size() / pixel_bytes;
    const size_t least = pixel_bytes == 1 ? 3 : 2;  // pixels that are worth a packet of their own
    const auto pixel = [&](size_t x) { return row.data() + x * pixel_bytes; };
    const auto run_at = [&](size_t x) {
        size_t end = x + 1;
        while (end < width && end - x < kLongest && std::memcmp(pixel(end), pixel(x), pixel_bytes) == 0) {
            end++;
        }
        return end - x;
    };
    const auto put = [&](const uint8_t* from, size_t pixels) {
        out.insert(out.end(), from, from + pixels * pixel_bytes);
    };
    size_t literal = 0;  // where pixels begin that were not written
    const auto flush = [&](size_t end) {
        for (; literal < end;) {
            const size_t count = std::min(kLongest, end - literal);
            out.push_back(static_cast<uint8_t>(count - 1));
            put(pixel(literal), count);
            literal += count;
        }
    };
    for (size_t x = 0; x < width;) {
        const size_t run = run_at(x);
        if (run < least) {
            x += run;
            continue;
        }
        flush(x);
        out.push_back(static_cast<uint8_t>(kRepeats | (run - 1)));
        put(pixel(x), 1);
        x += run;
        literal = x;
    }
    flush(width);
}

}  // namespace zelmor::imagework
