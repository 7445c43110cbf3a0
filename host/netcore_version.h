// The version of a runtime directory, and the order of versions. netcore_version_parser.h reads a version from the name
// of a directory.
#ifndef ZELMOR_HOST_NETCORE_VERSION_H
#define ZELMOR_HOST_NETCORE_VERSION_H

/// A two-part version, ordered by major and then by minor.
struct NetcoreVersion {
    int major;
    int minor;

    // Leaves both numbers unset: the parser fills them before they are read.
    NetcoreVersion() = default;
    NetcoreVersion(int major_number, int minor_number) : major(major_number), minor(minor_number) {}

    bool operator<(const NetcoreVersion& other) const;
};

/// One candidate of a scan: a directory by its bare name.
template <typename String>
struct NetcoreFolder {
    NetcoreVersion version;
    String name;
};

#endif  // ZELMOR_HOST_NETCORE_VERSION_H
