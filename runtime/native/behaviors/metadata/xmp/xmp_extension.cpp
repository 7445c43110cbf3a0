// Splitting and joining long packets; see xmp_extension.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_extension.h"

#include <algorithm>

#include "runtime/native/behaviors/metadata/containers/md5.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

constexpr const char* kNotePrefix = "xmpNote";
constexpr const char* kNoteUri = "http://ns.adobe.com/xmp/note/";
constexpr const char* kNoteKey = "HasExtendedXMP";
constexpr size_t kNoteRoom = 256;  // the description that names the extension

// The package of the namespace, made where there is none.
XmpPackageObject& package_in(XmpPacketObject& packet, const std::string& prefix, const std::string& uri) {
    if (XmpPackageObject* known = packet.packages.find(uri)) {
        return *known;
    }
    const Ref<XmpPackageObject> made = make_xmp_package(prefix, uri);
    packet.packages.add(made.get());
    return *made;
}

void move_property(XmpPacketObject& to, XmpPackageObject& from, const std::string& key) {
    package_in(to, from.prefix(), from.uri()).set(key, *from.find(key));
    from.remove(key);
}

// Packages of its own with the same values: the packet of a program stays as it is.
Ref<XmpPacketObject> own_copy(const XmpPacketObject& packet) {
    const Ref<ManagedObject> copy = packet.copy();
    Ref<XmpPacketObject> own(&cast_object<XmpPacketObject>(*copy));
    own->packages.clear();
    for (const auto& package : packet.packages.all()) {
        for (const std::string& key : package->keys()) {
            package_in(*own, package->prefix(), package->uri()).set(key, *package->find(key));
        }
    }
    return own;
}

void forget_extension(XmpPacketObject& packet) {
    XmpPackageObject* note = packet.packages.find(kNoteUri);
    if (note == nullptr) {
        return;
    }
    note->remove(kNoteKey);
    if (note->empty()) {
        packet.packages.remove(note);
    }
}

struct Property {
    XmpPackageObject* package;
    std::string key;
    size_t size;  // of its element
};

// A key without the prefix, which may be another one in another packet.
std::string local_name(const std::string& key) {
    return key.substr(key.find(':') + 1);
}

// The longest first.
std::vector<Property> properties_by_size(const XmpPacketObject& packet) {
    std::vector<Property> properties;
    for (const auto& package : packet.packages.all()) {
        const Ref<XmpPackageObject> alone = make_xmp_package(package->prefix(), package->uri());
        const size_t frame = alone->xml_value().size();
        for (const std::string& key : package->keys()) {
            alone->set(key, *package->find(key));
            properties.push_back({package.get(), key, alone->xml_value().size() - frame});
            alone->clear();
        }
    }
    std::stable_sort(properties.begin(), properties.end(),
                     [](const Property& a, const Property& b) { return a.size > b.size; });
    return properties;
}

}  // namespace

SplitXmp split_xmp(const XmpPacketObject& packet, size_t most) {
    const Ref<XmpPacketObject> main = own_copy(packet);
    forget_extension(*main);
    SplitXmp result;
    result.packet = main->text();
    if (result.packet.size() <= most) {
        return result;
    }
    const Ref<XmpPacketObject> rest = make_xmp_packet();
    set_property(*rest, "HeaderPi", Ref<ManagedObject>());
    set_property(*rest, "TrailerPi", Ref<ManagedObject>());
    size_t length = result.packet.size();
    for (const Property& property : properties_by_size(*main)) {
        if (length + kNoteRoom <= most) {
            break;
        }
        move_property(*rest, *property.package, property.key);
        length -= property.size;
    }
    result.extension = rest->text();
    result.guid = md5_text(std::as_bytes(std::span(result.extension)));
    package_in(*main, kNotePrefix, kNoteUri).set(kNoteKey, to_utf16(result.guid));
    result.packet = main->text();
    if (result.packet.size() > most) {
        throw_argument("The XMP packet has " + std::to_string(result.packet.size()) +
                       " bytes without its properties. A JPEG file has room for " + std::to_string(most) + ".");
    }
    return result;
}

Ref<XmpPacketObject> joined_xmp(std::span<const std::byte> packet, std::span<const std::byte> extension) {
    Ref<XmpPacketObject> joined = read_xmp_packet(packet);
    if (extension.empty()) {
        return joined;
    }
    const Ref<XmpPacketObject> rest = read_xmp_packet(extension);
    forget_extension(*joined);
    for (const auto& package : rest->packages.all()) {
        XmpPackageObject& whole = package_in(*joined, package->prefix(), package->uri());
        for (const std::string& key : package->keys()) {
            if (whole.find(local_name(key)) == nullptr) {
                whole.set(local_name(key), *package->find(key));
            }
        }
    }
    return joined;
}

}  // namespace zelmor::embed
