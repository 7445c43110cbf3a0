// The files that pictures are still decoded from, so that a program that writes into one of them can let the pictures
// keep what they need first.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_OPEN_FILES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_OPEN_FILES_H

#include <sys/stat.h>

#include <cstddef>
#include <tuple>

namespace zelmor::imagework {

// One file under all of its names.
struct FileIdentity {
    dev_t device;
    ino_t inode;
    explicit FileIdentity(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}
    bool operator==(const FileIdentity&) const = default;
    bool operator<(const FileIdentity& other) const {
        return std::tie(device, inode) < std::tie(other.device, other.inode);
    }
};

// To be called before the content of a file is changed: all sources of the file (data_source.h: file_source) read a
// copy from then on. PictureError(kInternal) where there is no room for a copy; the sources read the file then.
void keep_bytes_of(const FileIdentity& file);

// How many sources keep a file open.
size_t open_file_count();

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_OPEN_FILES_H
