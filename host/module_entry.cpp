// The entry point of the imaging module. The garbage collector pauses while the module is built.
#include "collections/interop.h"
#include "exchange/start_up.h"
#include "generated/imaging/imaging.h"
#include "pyshell/collector_pause.h"
#include "pyshell/enum_series.h"
#include "pyshell/module_start.h"
#include "pyshell/sibling_converters.h"

PyMODINIT_FUNC PyInit_imaging();

PyMODINIT_FUNC PyInit_imaging() {
    const zelmor::CollectorPause pause;
    const zelmor::EnumSeries enumerations;
    return zelmor::start_module({
        .name = "zelmor.imaging",
        .import_siblings = [](const char*) { return wrpPyl_ciap_EA2A999D_imaging(); },
        .import_cast_result = zelmor::import_cast_result,
        .start_runtime = initialize_clr_host,
        .assembly = "WrpInterop.Zelmor.Imaging",
        .product = "imaging",
        .build = wrpPy_mlit_EA2A999D_imaging,
        .add_wrappers = wrpPye_mlit_FFFFFFFF_common_wrappers,
    });
}
