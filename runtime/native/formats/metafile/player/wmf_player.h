// Plays the records of a Windows metafile on a device.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_WMF_PLAYER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_WMF_PLAYER_H

#include <set>

#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

class WmfPlayer {
 public:
    explicit WmfPlayer(Device& device) : m_device(device) {}
    // One record. A class that draws nothing and sets nothing that matters here is passed over.
    void play(const ManagedObject& record);

    Device& device() { return m_device; }
    // A new object has the lowest index that is free.
    void add_object(DeviceObject object);
    void delete_object(int64_t index);

 private:
    Device& m_device;
    std::set<int64_t> m_free;
    int64_t m_next = 0;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_WMF_PLAYER_H
