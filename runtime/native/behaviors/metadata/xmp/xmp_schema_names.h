// Short names of the classes of XMP's schemas, for the tables of their members.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_SCHEMA_NAMES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_SCHEMA_NAMES_H

#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.DublinCore.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Pdf.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Photoshop.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpBaseSchema.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpDm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpMm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpRm.h"

namespace zelmor::embed::xmp_schema_names {

using Dicom = api::Xmp::Schemas::Dicom::DicomPackage;
using DublinCore = api::Xmp::Schemas::DublinCore::DublinCorePackage;
using Pdf = api::Xmp::Schemas::Pdf::PdfPackage;
using Photoshop = api::Xmp::Schemas::Photoshop::PhotoshopPackage;
using Basic = api::Xmp::Schemas::XmpBaseSchema::XmpBasicPackage;
using DynamicMedia = api::Xmp::Schemas::XmpDm::XmpDynamicMediaPackage;
using MediaManagement = api::Xmp::Schemas::XmpMm::XmpMediaManagementPackage;
using RightsManagement = api::Xmp::Schemas::XmpRm::XmpRightsManagementPackage;

}  // namespace zelmor::embed::xmp_schema_names

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_SCHEMA_NAMES_H
