// The members part of EMF.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/formats/metafile/metafile_members.h"

namespace zelmor::embed {

namespace {

Ref<ImageBase> load_emf(const imagework::SharedSource& file, const imagework::FileFacts& facts, const Record*) {
    const bool packed = facts.variant == imagework::Variant::kEmz;
    return metafile::load_metafile(metafile::RecordFamily::kEmf, file, packed ? FileFormat::kEmz : FileFormat::kEmf);
}

void write_emf(std::span<const DrawnPage> pages, const Record* options, const std::string& extension,
               imagework::ByteSink& out) {
    metafile::write_metafile(metafile::RecordFamily::kEmf, pages, options, extension, out);
}

constexpr FormatClasses kEmfClasses[] = {
    {FileFormat::kEmf, imagework::Format::kEmf, "Emf", api::FileFormats::Emf::EmfImage::kType,
     api::ImageOptions::EmfOptions::kType, nullptr, false, api::ImageOptions::EmfRasterizationOptions::kType},
    {FileFormat::kEmz, imagework::Format::kEmf, "Emz", api::FileFormats::Emf::EmfImage::kType,
     api::ImageOptions::EmfOptions::kType, nullptr, false, api::ImageOptions::EmfRasterizationOptions::kType},
};

}  // namespace

extern const FormatMembers kEmfMembers;
const FormatMembers kEmfMembers{
    .format = imagework::Format::kEmf,
    .classes = kEmfClasses,
    .load_drawing = &load_emf,
    .write_drawing = &write_emf,
};

}  // namespace zelmor::embed
