// The header parsers of single formats, the longer of which have files of their own. Only probe.cpp calls them.
//
// Each fills in the facts of data that begins with the signature of its format.
#pragma once

#include <cstring>
#include <span>
#include <string_view>

#include "runtime/native/imagework/probe.h"

namespace zelmor::imagework {

inline bool starts_with(std::span<const uint8_t> data, size_t offset, std::string_view text) {
    return data.size() >= offset + text.size() && std::memcmp(data.data() + offset, text.data(), text.size()) == 0;
}

void probe_jpeg(std::span<const uint8_t> data, FileFacts& facts);
void probe_tiff(std::span<const uint8_t> data, FileFacts& facts);
std::vector<FileFacts> probe_tiff_pages(std::span<const uint8_t> data);

}  // namespace zelmor::imagework
