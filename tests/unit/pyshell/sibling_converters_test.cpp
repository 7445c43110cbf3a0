// Import of capsules, against siblings made up on the spot.
#include "pyshell/sibling_converters.h"

#include "fixture.h"
#include "pyshell/module_version.h"

using zelmor::CapsuleRow;
using zelmor::PyRef;

namespace {

constexpr int kReference[4] = {23, 5, 0, 0};

// A sibling with a version that serves, in sys.modules for as long as this lives.
class MadeUpSibling {
 public:
    explicit MadeUpSibling(const char* name) : m_name(name), m_module(PyRef::borrow(PyImport_AddModule(name))) {
        for (const char* attribute : {"VERSION", "_BACKWARD_COMPATIBILITY_THRESHOLD"}) {
            const PyRef version = PyRef::steal(PyShVersionAttr_Create(23, 5, 0, 0, "23.5.0.0"));
            PyObject_SetAttrString(m_module.get(), attribute, version.get());
        }
    }
    MadeUpSibling(const MadeUpSibling&) = delete;
    MadeUpSibling& operator=(const MadeUpSibling&) = delete;
    ~MadeUpSibling() { PyDict_DelItemString(PyImport_GetModuleDict(), m_name); }

    PyObject* get() const { return m_module.get(); }

    // `full_name` has to outlive the sibling.
    void add_capsule(const char* attribute, const char* full_name, void** entries) {
        const PyRef capsule = PyRef::steal(PyCapsule_New(entries, full_name, nullptr));
        PyObject_SetAttrString(m_module.get(), attribute, capsule.get());
    }

 private:
    const char* m_name;
    PyRef m_module;
};

void* entries[3] = {handle_of(0xA0), handle_of(0xA1), handle_of(0xA2)};

}  // namespace

using SiblingConverters = PyShellTest;

TEST_F(SiblingConverters, EntriesGoToThePointersOfTheirRow) {
    MadeUpSibling sibling("made_up_converters");
    sibling.add_capsule("_C_APIT_All", "made_up_converters._C_APIT_All", entries);
    sibling.add_capsule("_C_APIT_Some", "made_up_converters._C_APIT_Some", entries);
    void* taken[4] = {};
    const CapsuleRow rows[] = {
        {"made_up_converters._C_APIT_All", &taken[0], &taken[1], &taken[2]},
        {"made_up_converters._C_APIT_Some", nullptr, &taken[3], nullptr},
    };
    const Py_ssize_t references = Py_REFCNT(sibling.get());
    EXPECT_EQ(zelmor::import_capsules("zelmor.imaging", "made_up_converters", kReference, rows), 0);
    EXPECT_EQ(taken[0], handle_of(0xA0));
    EXPECT_EQ(taken[1], handle_of(0xA1));
    EXPECT_EQ(taken[2], handle_of(0xA2));
    EXPECT_EQ(taken[3], handle_of(0xA1));
    EXPECT_EQ(Py_REFCNT(sibling.get()), references);
}

TEST_F(SiblingConverters, ARowReadsNoEntryThatItDoesNotUse) {
    // The array ends right behind the one entry that is used; nothing may be read past it.
    MadeUpSibling sibling("made_up_converters");
    void* only[1] = {handle_of(0xB0)};
    sibling.add_capsule("_C_APIF", "made_up_converters._C_APIF", only);
    void* taken = nullptr;
    const CapsuleRow rows[] = {{"made_up_converters._C_APIF", &taken, nullptr, nullptr}};
    EXPECT_EQ(zelmor::import_capsules("zelmor.imaging", "made_up_converters", kReference, rows), 0);
    EXPECT_EQ(taken, handle_of(0xB0));
}

TEST_F(SiblingConverters, AMissingCapsuleIsNamedOnTopOfTheReason) {
    MadeUpSibling sibling("made_up_converters");
    const CapsuleRow rows[] = {{"made_up_converters._C_APIT_Pen", nullptr, nullptr, nullptr}};
    const Py_ssize_t references = Py_REFCNT(sibling.get());
    EXPECT_EQ(zelmor::import_capsules("zelmor.imaging", "made_up_converters", kReference, rows), -1);
    PyRef error = expect_error(PyExc_ImportError, "can't import capsule 'made_up_converters._C_APIT_Pen'");
    EXPECT_TRUE(PyRef::steal(PyException_GetCause(error.get())));
    error = PyRef();  // its cause holds the module
    EXPECT_EQ(Py_REFCNT(sibling.get()), references);
}

TEST_F(SiblingConverters, ACapsuleOfAnotherNameIsRefused) {
    MadeUpSibling sibling("made_up_converters");
    sibling.add_capsule("_C_APIT_Pen", "made_up_converters._C_APIT_Brush", entries);
    const CapsuleRow rows[] = {{"made_up_converters._C_APIT_Pen", nullptr, nullptr, nullptr}};
    EXPECT_EQ(zelmor::import_capsules("zelmor.imaging", "made_up_converters", kReference, rows), -1);
    expect_error(PyExc_ImportError, "can't import capsule 'made_up_converters._C_APIT_Pen'");
}

TEST_F(SiblingConverters, AMissingModuleIsReportedAsADependency) {
    EXPECT_EQ(zelmor::import_capsules("zelmor.imaging", "made_up_converters", kReference, {}), -1);
    expect_error(PyExc_ImportError,
                 "Unable to import module dependencies. Cannot import the made_up_converters module. The module not "
                 "found or errors occurred while initializing it.");
}

TEST_F(SiblingConverters, EverySiblingIsRequiredAtTheSameVersion) {
    for (const int* reference :
         {RefVer_pydrawin_09723943, RefVer_pyreflec_C6067AD5, RefVer_pyio_37FB89B0, RefVer_pygc_15FC0AB4}) {
        EXPECT_EQ(std::vector<int>(reference, reference + 4), (std::vector<int>{23, 5, 0, 0}));
    }
}
