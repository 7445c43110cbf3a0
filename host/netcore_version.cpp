// The order of runtime versions: by number and not by text, so that 10.0 is above 9.0.
#include "host/netcore_version.h"

bool NetcoreVersion::operator<(const NetcoreVersion& other) const {
    return major != other.major ? major < other.major : minor < other.minor;
}
