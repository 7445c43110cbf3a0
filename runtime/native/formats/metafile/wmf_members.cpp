// The members part of WMF.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/formats/metafile/metafile_members.h"

namespace zelmor::embed {

namespace {

Ref<ImageBase> load_wmf(const imagework::SharedSource& file, const imagework::FileFacts& facts, const Record*) {
    const bool packed = facts.variant == imagework::Variant::kWmz;
    return metafile::load_metafile(metafile::RecordFamily::kWmf, file, packed ? FileFormat::kWmz : FileFormat::kWmf);
}

void write_wmf(std::span<const DrawnPage> pages, const Record* options, const std::string& extension,
               imagework::ByteSink& out) {
    metafile::write_metafile(metafile::RecordFamily::kWmf, pages, options, extension, out);
}

constexpr FormatClasses kWmfClasses[] = {
    {FileFormat::kWmf, imagework::Format::kWmf, "Wmf", api::FileFormats::Wmf::WmfImage::kType,
     api::ImageOptions::WmfOptions::kType, nullptr, false, api::ImageOptions::WmfRasterizationOptions::kType},
    {FileFormat::kWmz, imagework::Format::kWmf, "Wmz", api::FileFormats::Wmf::WmfImage::kType,
     api::ImageOptions::WmfOptions::kType, nullptr, false, api::ImageOptions::WmfRasterizationOptions::kType},
};

}  // namespace

extern const FormatMembers kWmfMembers;
const FormatMembers kWmfMembers{
    .format = imagework::Format::kWmf,
    .classes = kWmfClasses,
    .load_drawing = &load_wmf,
    .write_drawing = &write_wmf,
};

}  // namespace zelmor::embed
