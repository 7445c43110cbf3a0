// Imports of types and of siblings, against modules made up on the spot.
#include "pyshell/imports.h"

#include "fixture.h"
#include "pyshell/identifiers.h"
#include "pyshell/module_version.h"

using zelmor::PyRef;

namespace {

constexpr int kReference[4] = {23, 5, 0, 0};
constexpr const char* kSibling = "made_up_sibling";

// A module under that name in sys.modules for as long as this lives.
class MadeUpModule {
 public:
    MadeUpModule() : m_module(PyRef::borrow(PyImport_AddModule(kSibling))) {}
    MadeUpModule(const MadeUpModule&) = delete;
    MadeUpModule& operator=(const MadeUpModule&) = delete;
    ~MadeUpModule() { PyDict_DelItemString(PyImport_GetModuleDict(), kSibling); }

    PyObject* get() const { return m_module.get(); }

    void set_version(int major, int minor, int patch, int sub, const char* text) {
        set("VERSION", PyRef::steal(PyShVersionAttr_Create(major, minor, patch, sub, text)));
    }

    void set_threshold(int major, int minor, int patch, int sub, const char* text) {
        set("_BACKWARD_COMPATIBILITY_THRESHOLD", PyRef::steal(PyShVersionAttr_Create(major, minor, patch, sub, text)));
    }

    void set(const char* name, const PyRef& value) { PyObject_SetAttrString(m_module.get(), name, value.get()); }

 private:
    PyRef m_module;
};

PyRef import_sibling() {
    return PyRef::steal(PyShImport_ImportRefModule("zelmor.imaging", kSibling, kReference));
}

PyRef name_of(const char* text) {
    return PyRef::steal(PyUnicode_FromString(text));
}

}  // namespace

using Imports = PyShellTest;

TEST_F(Imports, ASiblingAtExactlyTheReferencePasses) {
    MadeUpModule sibling;
    sibling.set_version(23, 5, 0, 0, "23.5.0.0");
    sibling.set_threshold(23, 5, 0, 0, "23.5.0.0");
    const Py_ssize_t references = Py_REFCNT(sibling.get());
    PyRef module = import_sibling();
    EXPECT_EQ(module.get(), sibling.get());
    EXPECT_EQ(Py_REFCNT(sibling.get()), references + 1);
}

TEST_F(Imports, ANewerSiblingPassesUpToItsThreshold) {
    MadeUpModule sibling;
    sibling.set_version(25, 1, 0, 0, "25.1.0.0");
    sibling.set_threshold(22, 6, 0, 0, "22.6.0.0");
    EXPECT_TRUE(import_sibling());
    sibling.set_threshold(23, 5, 0, 1, "23.5.0.1");
    EXPECT_FALSE(import_sibling());
    PyErr_Clear();
}

TEST_F(Imports, AnOlderSiblingIsRefusedWithItsOwnView) {
    MadeUpModule sibling;
    sibling.set_version(23, 4, 0, 0, "23.4.0.0-rc");
    sibling.set_threshold(22, 6, 0, 0, "22.6.0.0");
    PyObject* version = PyObject_GetAttrString(sibling.get(), "VERSION");
    const Py_ssize_t of_module = Py_REFCNT(sibling.get());
    const Py_ssize_t of_version = Py_REFCNT(version);
    EXPECT_FALSE(import_sibling());
    expect_error(PyExc_ImportError,
                 "Unable to import module dependencies. Cannot import the made_up_sibling module. The made_up_sibling "
                 "module found has a version ('23.4.0.0-rc') that is lower than the referenced version of that module "
                 "('23.5.0.0').");
    EXPECT_EQ(Py_REFCNT(sibling.get()), of_module);
    EXPECT_EQ(Py_REFCNT(version), of_version);
    Py_DECREF(version);
}

TEST_F(Imports, ASiblingThatHasDroppedTheReferenceIsRefusedAtLength) {
    MadeUpModule sibling;
    sibling.set_version(24, 0, 0, 0, "24.0.0.0");
    sibling.set_threshold(23, 6, 0, 0, "23.6.0.0");
    const Py_ssize_t references = Py_REFCNT(sibling.get());
    EXPECT_FALSE(import_sibling());
    expect_error(PyExc_ImportError,
                 "Unable to import module dependencies. Cannot import the made_up_sibling module. The installed "
                 "version of the module ('24.0.0.0') is not compatible with the referenced vesion of the module "
                 "('23.5.0.0'). The installed version of the module is not compatible with the module versions < "
                 "'23.6.0.0'. Update dendend module 'zelmor.imaging' to a latest version.");
    EXPECT_EQ(Py_REFCNT(sibling.get()), references);
}

TEST_F(Imports, ASiblingWithoutVersionIsRefused) {
    MadeUpModule sibling;
    EXPECT_FALSE(import_sibling());
    const PyRef error = expect_error(
        PyExc_ImportError,
        "Unable to import module dependencies. Cannot import the made_up_sibling module. The made_up_sibling module "
        "found does not have 'VERSION' attribute to check version compatibility.");
    EXPECT_FALSE(PyRef::steal(PyException_GetCause(error.get())));
}

TEST_F(Imports, ASiblingWithoutThresholdIsRefusedUnderANameWithoutUnderscore) {
    MadeUpModule sibling;
    sibling.set_version(23, 5, 0, 0, "23.5.0.0");
    EXPECT_FALSE(import_sibling());
    expect_error(PyExc_ImportError,
                 "Unable to import module dependencies. Cannot import the made_up_sibling module. The made_up_sibling "
                 "module found does not have 'BACKWARD_COMPATIBILITY_THRESHOLD' attribute to check version "
                 "compatibility.");
}

TEST_F(Imports, AMissingSiblingIsReportedOnTopOfTheReason) {
    EXPECT_FALSE(import_sibling());
    const PyRef error = expect_error(
        PyExc_ImportError,
        "Unable to import module dependencies. Cannot import the made_up_sibling module. The module not found or "
        "errors occurred while initializing it.");
    const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
    EXPECT_EQ(text_of(cause.get()), "No module named 'made_up_sibling'");
}

TEST_F(Imports, ATypeIsImportedFresh) {
    const PyRef type = PyRef::steal(PyShImport_ImportType("enum", PyWrpIdTypeName_IntEnum));
    EXPECT_EQ(type.get(), evaluate("__import__('enum').IntEnum").get());
}

TEST_F(Imports, AMissingModuleOfATypeIsReported) {
    EXPECT_EQ(PyShImport_ImportType("nowhere_at_all", PyWrpIdTypeName_IntEnum), nullptr);
    const PyRef error = expect_error(PyExc_ImportError,
                                     "Unable to import the specified module nowhere_at_all. The module not found or "
                                     "errors occurred while initializing it.");
    EXPECT_TRUE(PyRef::steal(PyException_GetCause(error.get())));
}

TEST_F(Imports, AMissingTypeIsReported) {
    const PyRef name = name_of("Nothing");
    EXPECT_EQ(PyShImport_ImportType("enum", name.get()), nullptr);
    const PyRef error = expect_error(PyExc_ImportError,
                                     "Unable to import the specified type Nothing from the module enum. The type not "
                                     "found or errors occurred while initializing it.");
    const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
    EXPECT_EQ(text_of(cause.get()), "module 'enum' has no attribute 'Nothing'");
}

TEST_F(Imports, ImportTypeTakesAnyAttributeAndImportTypeExTypesOnly) {
    MadeUpModule module;
    const PyRef number = PyRef::steal(PyLong_FromLong(123456));
    module.set("number", number);
    const Py_ssize_t references = Py_REFCNT(number.get());
    const PyRef name = name_of("number");
    EXPECT_EQ(PyRef::steal(PyShImport_ImportType(kSibling, name.get())).get(), number.get());
    EXPECT_EQ(PyShImport_ImportTypeEx(kSibling, name.get()), nullptr);
    expect_error(PyExc_TypeError, "Attribute must be type object, not 'int'");
    EXPECT_EQ(Py_REFCNT(number.get()), references);
    EXPECT_EQ(PyRef::steal(PyShImport_ImportTypeEx("enum", PyWrpIdTypeName_IntFlag)).get(),
              evaluate("__import__('enum').IntFlag").get());
}

TEST_F(Imports, ANestedTypeIsReachedByAChainOfNames) {
    MadeUpModule module;
    const PyRef names = run("class Outer:\n    class Inner:\n        class Core: pass\n    number = 1\n");
    module.set("Outer", PyRef::borrow(PyDict_GetItemString(names.get(), "Outer")));
    const PyRef outer = name_of("Outer");
    const PyRef inner = name_of("Inner");
    const PyRef core = name_of("Core");
    const PyRef number = name_of("number");
    const PyRef found = PyRef::steal(PyShImport_ImportTypeExV(kSibling, 3, outer.get(), inner.get(), core.get()));
    ASSERT_TRUE(found);
    EXPECT_STREQ(reinterpret_cast<PyTypeObject*>(found.get())->tp_name, "Core");
    const PyRef first = PyRef::steal(PyShImport_ImportTypeExV(kSibling, 1, outer.get()));
    EXPECT_STREQ(reinterpret_cast<PyTypeObject*>(first.get())->tp_name, "Outer");

    EXPECT_EQ(PyShImport_ImportTypeExV(kSibling, 2, outer.get(), core.get()), nullptr);
    const PyRef error = expect_error(PyExc_ImportError, "Outer does not contain nested type Core");
    EXPECT_TRUE(PyRef::steal(PyException_GetCause(error.get())));
    EXPECT_EQ(PyShImport_ImportTypeExV(kSibling, 2, outer.get(), number.get()), nullptr);
    expect_error(PyExc_TypeError, "Attribute must be type object, not 'int'");
    EXPECT_EQ(PyShImport_ImportTypeExV(kSibling, 2, core.get(), inner.get()), nullptr);
    expect_error(PyExc_ImportError,
                 "Unable to import the specified type Core from the module made_up_sibling. The type not found or "
                 "errors occurred while initializing it.");
}
