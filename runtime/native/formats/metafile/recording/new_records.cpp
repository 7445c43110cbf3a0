// Making records and their objects.
#include "runtime/native/formats/metafile/recording/new_records.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

Ref<ManagedObject> new_emf_record(const char* name) {
    return make_instance(std::string("Zelmor.Imaging.FileFormats.Emf.Emf.Records.") + name);
}
Ref<ManagedObject> new_emf_object(const char* name) {
    return make_instance(std::string("Zelmor.Imaging.FileFormats.Emf.Emf.Objects.") + name);
}
Ref<ManagedObject> new_wmf_object(const char* name) {
    return make_instance(std::string("Zelmor.Imaging.FileFormats.Wmf.Objects.") + name);
}

namespace {

int32_t whole(double number) {
    return static_cast<int32_t>(std::lround(std::clamp(number, -2147483648.0, 2147483647.0)));
}

}  // namespace

Value whole_value(double number) {
    return int64_t{whole(number)};
}
Value point_value(PointD point) {
    return Value(box(PointValue{whole(point.x), whole(point.y)}));
}
Value size_value(PointD size) {
    return Value(box(SizeValue{whole(size.x), whole(size.y)}));
}
Value rect_value(const RectD& rect) {
    const int32_t x = whole(rect.x), y = whole(rect.y);
    return Value(box(RectangleValue{x, y, whole(rect.right()) - x, whole(rect.bottom()) - y}));
}
Value matrix_value(const Affine& map) {
    return Value(Ref<ManagedObject>(make_ref<MatrixObject>(map)));
}
Value bytes_value(const FileBytes& bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return Value(Bytes(first, first + bytes.size()));
}

void set_list(ManagedObject& object, const char* name, const std::vector<Value>& values) {
    const PropertyInfo* info = declared(object, name);
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(info->collection), values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        list->set(i, values[i]);
    }
    set_property(object, name, Value(Ref<ManagedObject>(list)));
}

Ref<ManagedObject> new_bitmap(const Pixels& pixels, bool with_alpha) {
    const int bytes = with_alpha ? 4 : 3;
    const auto width = static_cast<size_t>(pixels.width), height = static_cast<size_t>(pixels.height);
    const size_t stride = (width * static_cast<size_t>(bytes) + 3) / 4 * 4;
    FileBytes data(stride * height);
    for (size_t y = 0; y < height; ++y) {
        uint8_t* to = data.data() + (height - 1 - y) * stride;
        for (size_t x = 0; x < width; ++x, to += bytes) {
            const Argb color = pixels.colors[y * width + x];
            const uint32_t alpha = with_alpha ? color >> 24 : 255;
            for (int channel = 0; channel < 3; ++channel) {
                to[channel] = static_cast<uint8_t>(((color >> 8 * channel & 0xFF) * alpha + 127) / 255);
            }
            if (with_alpha) {
                to[3] = static_cast<uint8_t>(alpha);
            }
        }
    }
    auto header = new_wmf_object("WmfBitmapInfoHeader");
    set_property(*header, "HeaderSize", int64_t{40});
    set_property(*header, "Width", int64_t{pixels.width});
    set_property(*header, "Height", int64_t{pixels.height});
    set_property(*header, "Planes", int64_t{1});
    set_property(*header, "BitCount", int64_t{8 * bytes});
    set_property(*header, "ImageSize", static_cast<int64_t>(data.size()));
    auto bitmap = new_wmf_object("WmfDeviceIndependentBitmap");
    set_property(*bitmap, "DibHeaderInfo", Value(header));
    set_property(*bitmap, "AData", bytes_value(data));
    return bitmap;
}

}  // namespace zelmor::embed::metafile
