// The kinds of changes; see alterations.h.
#include "tests/fuzz/alterations.h"

#include <algorithm>
#include <array>

#include "tests/fuzz/file_parts.h"

namespace zelmor::fuzz {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMostBytes = size_t{256} << 10;  // a file does not grow beyond that

auto at(Bytes& file, size_t place) {
    return file.begin() + static_cast<std::ptrdiff_t>(place);
}
Bytes copy_of(const Bytes& file, const Part& part) {
    return {file.data() + part.at, file.data() + part.at + part.length};
}

// A part of the structure where the file has one; otherwise, and now and then, a piece of any bytes.
Part piece(const Bytes& file, Lots& lots) {
    const std::vector<Part> parts = parts_of(file);
    if (!parts.empty() && !lots.one_in(4)) {
        return parts[lots.below(parts.size())];
    }
    const size_t begin = lots.below(file.size());
    return {begin, std::min(file.size() - begin, 1 + lots.below(64))};
}

// A place in the file: mostly in the beginning of a part, where its lengths and counts are, or in that of the file.
size_t place(const Bytes& file, Lots& lots) {
    switch (lots.below(4)) {
        case 0:
            return lots.below(file.size());
        case 1:
            return lots.below(std::min<size_t>(file.size(), 64));
        default: {
            const Part part = piece(file, lots);
            return std::min(part.at + lots.below(std::min<size_t>(part.length, 28)),
                            file.size() - 1);  // parts may be empty
        }
    }
}

void flip_bits(Bytes& file, Lots& lots) {
    for (size_t i = 1 + lots.below(8); i > 0; --i) {
        file[place(file, lots)] ^= static_cast<uint8_t>(1U << lots.below(8));
    }
}

void set_bytes(Bytes& file, Lots& lots) {
    for (size_t i = 1 + lots.below(4); i > 0; --i) {
        file[place(file, lots)] = static_cast<uint8_t>(lots.any());
    }
}

void set_run(Bytes& file, Lots& lots) {
    const size_t begin = place(file, lots);
    const size_t length = std::min(file.size() - begin, 1 + lots.below(40));
    const std::array<uint8_t, 4> values{0, 0xFF, 0x80, static_cast<uint8_t>(lots.any())};
    std::fill_n(at(file, begin), length, values[lots.below(values.size())]);
}

// Lengths and counts: the least and the greatest, those around the size of the file, and those near the old one.
void set_number(Bytes& file, Lots& lots) {
    const size_t width = size_t{1} << lots.below(4);
    if (file.size() < width) {
        return;
    }
    const size_t begin = std::min(place(file, lots), file.size() - width);
    const bool big_endian = lots.one_in(2);
    const auto byte = [&](size_t i) { return begin + (big_endian ? width - 1 - i : i); };
    uint64_t old = 0;
    for (size_t i = 0; i < width; ++i) {
        old |= uint64_t{file[byte(i)]} << (8 * i);
    }
    const std::array<uint64_t, 18> numbers{0,          1,           2,       0x7F,       0x80,       0xFF,
                                           0x7FFF,     0x8000,      0xFFFF,  0x7FFFFFFF, 0x80000000, 0xFFFFFFFF,
                                           UINT64_MAX, file.size(), old + 1, old - 1,    old * 2,    old * 1000};
    const uint64_t number = numbers[lots.below(numbers.size())];
    for (size_t i = 0; i < width; ++i) {
        file[byte(i)] = static_cast<uint8_t>(number >> (8 * i));
    }
}

void cut_end(Bytes& file, Lots& lots) {
    file.resize(lots.one_in(2) ? lots.below(file.size()) : file.size() - lots.below(std::min<size_t>(file.size(), 32)));
}

void cut_piece(Bytes& file, Lots& lots) {
    const Part part = piece(file, lots);
    file.erase(at(file, part.at), at(file, part.at + part.length));
}

void double_piece(Bytes& file, Lots& lots) {
    const Part part = piece(file, lots);
    const Bytes copy = copy_of(file, part);
    for (size_t i = lots.one_in(8) ? 20 : 1; i > 0 && file.size() + copy.size() <= kMostBytes; --i) {
        file.insert(at(file, part.at + part.length), copy.begin(), copy.end());
    }
}

void swap_pieces(Bytes& file, Lots& lots) {
    Part first = piece(file, lots);
    Part second = piece(file, lots);
    if (second.at < first.at) {
        std::swap(first, second);
    }
    if (first.at + first.length > second.at) {
        return;  // they lie over each other
    }
    Bytes changed(file.begin(), at(file, first.at));
    const auto append = [&](size_t begin, size_t end) {
        changed.insert(changed.end(), at(file, begin), at(file, end));
    };
    append(second.at, second.at + second.length);
    append(first.at + first.length, second.at);
    append(first.at, first.at + first.length);
    append(second.at + second.length, file.size());
    file = std::move(changed);
}

// Writes a piece over another one of the same file, so that numbers get values that make sense elsewhere.
void copy_piece(Bytes& file, Lots& lots) {
    const Bytes from = copy_of(file, piece(file, lots));
    const Part to = piece(file, lots);
    const size_t skipped = lots.below(std::min(from.size(), to.length));
    const size_t length = std::min(from.size(), to.length) - skipped;
    std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(skipped), length, at(file, to.at + skipped));
}

void insert_bytes(Bytes& file, Lots& lots) {
    Bytes more(1 + lots.below(16));
    std::generate(more.begin(), more.end(), [&] { return static_cast<uint8_t>(lots.any()); });
    file.insert(at(file, place(file, lots)), more.begin(), more.end());
}

// A piece of another file, or all of its end, in the place of a piece.
void splice(Bytes& file, const Bytes& other, Lots& lots) {
    const Part to = piece(file, lots);
    Part from = piece(other, lots);
    if (lots.one_in(4)) {
        file.resize(to.at);
        from.length = other.size() - from.at;
    } else if (!lots.one_in(3)) {
        file.erase(at(file, to.at), at(file, to.at + to.length));
    }
    const Bytes taken = copy_of(other, from);
    file.insert(at(file, std::min(to.at, file.size())), taken.begin(), taken.end());
}

using Change = void (*)(Bytes&, Lots&);
constexpr std::array<Change, 15> kChanges{flip_bits, flip_bits,    set_bytes,   set_bytes,  set_run,
                                          set_run,   set_number,   set_number,  set_number, cut_end,
                                          cut_piece, double_piece, swap_pieces, copy_piece, insert_bytes};

}  // namespace

std::vector<uint8_t> altered(const NamedFile& file, const std::vector<NamedFile>& others, Lots& lots) {
    Bytes bytes = file.bytes;
    const size_t changes = lots.one_in(2) ? 1 : 1 + lots.below(8);
    for (size_t i = 0; i < changes && !bytes.empty(); ++i) {
        const size_t kind = lots.below(kChanges.size() + 2);
        if (kind < kChanges.size()) {
            kChanges[kind](bytes, lots);
            continue;
        }
        // Mostly of the same format, whose parts have a meaning there.
        const NamedFile* other = &others[lots.below(others.size())];
        for (size_t tries = lots.one_in(8) ? 0 : 20; tries > 0 && other->format() != file.format(); --tries) {
            other = &others[lots.below(others.size())];
        }
        splice(bytes, other->bytes, lots);
    }
    bytes.resize(std::min(bytes.size(), kMostBytes));
    if (!lots.one_in(8)) {
        mend_checks(bytes);
    }
    return bytes;
}

}  // namespace zelmor::fuzz
