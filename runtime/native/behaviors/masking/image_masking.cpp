// ImageMasking and its sessions: separating an image, and applying a mask.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Masking.h"
#include "runtime/native/behaviors/masking/masked_pixels.h"
#include "runtime/native/behaviors/masking/masking_session.h"
#include "runtime/native/behaviors/masking/masking_settings.h"
#include "runtime/native/behaviors/masking/masking_task.h"
#include "runtime/native/behaviors/masking/parts.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Picture;
using imagework::Rect;

namespace {

using ImageMaskingApi = api::Masking::ImageMasking;
using SessionApi = api::Masking::IMaskingSession;

class Masking final : public Record {
 public:
    static constexpr const char* kManagedName = ImageMaskingApi::kType.name;
    explicit Masking(Ref<ImageObject> image) : Record(require_type(kManagedName)), source(std::move(image)) { track(); }
    Ref<ImageObject> source;
    void references(ReferenceVisitor& visitor) override {
        Record::references(visitor);
        visitor(source);
    }
};

Ref<ManagedObject> masking_of(ImageObject* source_image) {
    if (source_image == nullptr) {
        throw_argument_null("source_image");
    }
    source_image->require_live();
    return make_ref<Masking>(Ref<ImageObject>(source_image));
}

Ref<MaskingSession> session_of(Masking& self, Record* options) {
    if (options == nullptr) {
        throw_argument_null("options");
    }
    self.source->require_live();
    return make_ref<MaskingSession>(self.source, Ref<Record>(options));
}

Ref<ManagedObject> decompose(Masking& self, Record* options) {
    return session_of(self, options)->run(nullptr);
}
Interface decompose_async(Masking& self, Record* options) {
    return {make_masking_task(session_of(self, options), nullptr)};
}
Interface create_session(Masking& self, Record* options) {
    return {session_of(self, options)};
}
Interface load_session(Masking& self, Ref<ManagedStream> stream) {
    self.source->require_live();
    return {MaskingSession::load(self.source, stream->read_to_end())};
}
Interface load_session_file(Masking& self, const std::optional<std::u16string>& file_path) {
    return load_session(self, open_file_stream(file_path_of(file_path, "file_path"), FileUse::kRead, "load"));
}

// ---- Sessions

void save_session(MaskingSession& self, Ref<ManagedStream> stream) {
    stream->write(self.saved());
}
void save_session_file(MaskingSession& self, const std::optional<std::u16string>& file_path) {
    const std::string path = file_path_of(file_path, "file_path");
    const std::vector<std::byte> bytes = self.saved();
    write_file(path, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
}
Ref<ManagedObject> run_session(MaskingSession& self) {
    return self.run(nullptr);
}
Interface run_session_async(MaskingSession& self) {
    self.require_live();
    return {make_masking_task(Ref<MaskingSession>(&self), nullptr)};
}
Ref<Record> arguments_of(const VariantArg* masking_arguments) {
    const Ref<ManagedObject> arguments =
        read_object(masking_arguments, require_type(api::Masking::Options::IMaskingArgs::kType.name));
    if (!arguments) {
        throw_argument_null("masking_arguments");
    }
    return Ref<Record>(&cast_object<Record>(*arguments));
}
Ref<ManagedObject> improve(MaskingSession& self, const VariantArg* masking_arguments) {
    return self.run(arguments_of(masking_arguments).get());
}
Interface improve_async(MaskingSession& self, const VariantArg* masking_arguments) {
    self.require_live();
    return {make_masking_task(Ref<MaskingSession>(&self), arguments_of(masking_arguments))};
}

// ---- Applying a mask

// How much of each pixel of the area the mask shows, from 0 to 255: its brightness, as far as it is opaque.
std::vector<uint8_t> mask_levels(const Picture& mask, const Rect& part) {
    std::vector<Argb> pixels(static_cast<size_t>(part.width) * static_cast<size_t>(part.height));
    mask.read_argb(part, pixels);
    std::vector<uint8_t> levels(pixels.size());
    std::transform(pixels.begin(), pixels.end(), levels.begin(), [](Argb color) {
        const Argb gray = ((color >> 16 & 0xFF) * 299 + (color >> 8 & 0xFF) * 587 + (color & 0xFF) * 114 + 500) / 1000;
        return static_cast<uint8_t>((gray * (color >> 24) + 127) / 255);
    });
    return levels;
}

template <class Colors, class Pixel, class Read, class Write>
void mask_rows(const Rect& area, const std::vector<uint8_t>& levels, Pixel behind, Read&& read, Write&& write) {
    std::vector<Pixel> row(static_cast<size_t>(area.width));
    for (int32_t y = 0; y < area.height; ++y) {
        const Rect line{area.x, area.y + y, area.width, 1};
        read(line, row);
        for (size_t x = 0; x < row.size(); ++x) {
            const size_t at = static_cast<size_t>(y) * row.size() + x;
            row[x] = Colors::masked(row[x], levels[at]);
            if (Colors::channel(behind, 3) != 0) {
                row[x] = Colors::over(row[x], behind);
            }
        }
        write(line, row);
    }
}

void apply(Picture& picture, const Rect& area, const std::vector<uint8_t>& levels, Argb behind) {
    picture.drop_palette();
    if (behind >> 24 != 255 && !picture.has_alpha()) {
        picture.add_alpha();
    }
    if (imagework::sample_size(picture.form().sample) > 1) {
        mask_rows<MaskedArgb64, uint64_t>(
            area, levels, deep_color(behind), [&](const Rect& line, auto& row) { picture.read_argb64(line, row); },
            [&](const Rect& line, const auto& row) { picture.write_argb64(line, row); });
    } else {
        mask_rows<MaskedArgb, uint32_t>(
            area, levels, behind, [&](const Rect& line, auto& row) { picture.read_argb(line, row); },
            [&](const Rect& line, const auto& row) { picture.write_argb(line, row); });
    }
}

void apply_mask(ImageObject* target_image, ImageObject* mask, Record* masking_options) {
    for (const auto& [argument, name] : {std::pair<ManagedObject*, const char*>{target_image, "target_image"},
                                         {mask, "mask"},
                                         {masking_options, "masking_options"}}) {
        if (argument == nullptr) {
            throw_argument_null(name);
        }
    }
    target_image->put_drawings();
    mask->put_drawings();
    const SizeValue size{target_image->picture().width(), target_image->picture().height()};
    const RectangleValue masked = masking_area_of(*masking_options, size);
    const Rect area{masked.x, masked.y, masked.width, masked.height};
    const Picture& shown = mask->picture();
    // A mask is as large as the area or as large as the image.
    Rect part{0, 0, area.width, area.height};
    if (shown.width() != area.width || shown.height() != area.height) {
        part = area;
        if (shown.width() != size.width || shown.height() != size.height) {
            throw_argument("The mask is " + size_text(shown.width(), shown.height()) + " pixels and the area " +
                           size_text(area.width, area.height) +
                           ": it has to be as large as the area or as the image. (Parameter 'mask')");
        }
    }
    const std::vector<uint8_t> levels =
        feathered(mask_levels(shown, part), area.width, area.height, feathering_of(*masking_options));
    const Argb behind = color_property(*masking_options, "BackgroundReplacementColor");
    target_image->change([&](Picture& picture) {
        if (picture.width() != size.width || picture.height() != size.height) {
            throw_argument("A frame of the image is " + size_text(picture.width(), picture.height()) +
                           " pixels, and the mask is for " + size_text(size.width, size.height) +
                           ". (Parameter 'mask')");
        }
        apply(picture, area, levels, behind);
    });
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&masking_of, ImageMaskingApi::ctor_000_ImageMasking>(),
    behavior<&apply_mask, ImageMaskingApi::call_000_ApplyMask>(),
    behavior<&load_session, ImageMaskingApi::call_000_LoadSession, ImageMaskingApi::call_000_LoadSessionFromStream>(),
    behavior<&load_session_file, ImageMaskingApi::call_001_LoadSession>(),
    behavior<&decompose, ImageMaskingApi::call_000_Decompose>(),
    behavior<&decompose_async, ImageMaskingApi::call_000_DecomposeAsync>(),
    behavior<&create_session, ImageMaskingApi::call_000_CreateSession>(),
    behavior<&save_session, SessionApi::call_000_Save>(),
    behavior<&save_session_file, SessionApi::call_001_Save>(),
    behavior<&run_session, SessionApi::call_000_Decompose>(),
    behavior<&run_session_async, SessionApi::call_000_DecomposeAsync>(),
    behavior<&improve, SessionApi::call_000_ImproveDecomposition>(),
    behavior<&improve_async, SessionApi::call_000_ImproveDecompositionAsync>(),
});

}  // namespace

}  // namespace zelmor::embed
