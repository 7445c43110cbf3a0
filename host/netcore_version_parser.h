// Reads the version out of a directory name of the form "netcore<digits>.<digits>". A directory with any other name is
// no runtime directory.
#ifndef ZELMOR_HOST_NETCORE_VERSION_PARSER_H
#define ZELMOR_HOST_NETCORE_VERSION_PARSER_H

#include <string>

#include "host/netcore_version.h"

/// True, with the version, if the name has the form of a runtime directory.
/// A number beyond the range of int throws std::out_of_range.
bool try_parse(const std::string& name, NetcoreVersion& version);

/// Splits the text at its only "."; false if it has none or several. `parts` has room for two strings.
bool split(const std::string& text, std::string* parts);

/// Converts a text that consists of decimal digits alone; false for any other text.
/// A number beyond the range of int throws std::out_of_range.
bool try_parse_int(const std::string& text, int& value);

#endif  // ZELMOR_HOST_NETCORE_VERSION_PARSER_H
