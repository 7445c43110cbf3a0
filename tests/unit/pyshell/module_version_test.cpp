// Version objects: text, order, hash, and comparison with a sibling's requirement.
#include "pyshell/module_version.h"

#include "fixture.h"

using zelmor::PyRef;

namespace {

PyRef version(int major, int minor, int patch, int sub, const char* text = "text") {
    return PyRef::steal(PyShVersionAttr_Create(major, minor, patch, sub, text));
}

// Another module's version type: the same layout, another type.
PyTypeObject& sibling_version_type() {
    static PyTypeObject type = [] {
        PyTypeObject record = {};
        record.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
        record.tp_name = "zelmor.pyio._ModuleVersionType";
        record.tp_basicsize = sizeof(PyShVersionObject);
        record.tp_alloc = PyType_GenericAlloc;
        return record;
    }();
    return type;
}

// FNV-1a, 32 bits, over bytes.
int32_t fnv1a(const std::vector<unsigned char>& bytes) {
    uint64_t hash = 2166136261u;
    for (unsigned char byte : bytes) {
        hash ^= byte;
        hash = hash * 16777619u % (1ull << 32);
    }
    return static_cast<int32_t>(static_cast<uint32_t>(hash));
}

using ModuleVersion = PyShellTest;

}  // namespace

TEST_F(ModuleVersion, ShowsItsNumbersAndItsText) {
    const PyRef object = version(23, 6, 1, 2, "23.6.1.2");
    EXPECT_EQ(text_of(evaluate("(v.major, v.minor, v.patch, v.sub, v.view)", {{"v", object.get()}}).get()),
              "(23, 6, 1, 2, '23.6.1.2')");
    EXPECT_EQ(text_of(object.get()), "23.6.1.2");
    const PyRef repr = PyRef::steal(PyObject_Repr(object.get()));
    EXPECT_EQ(text_of(repr.get()), "<zelmor.imaging._ModuleVersionType: 23.6.1.2>");
}

TEST_F(ModuleVersion, StrIsTheViewItself) {
    const PyRef object = version(1, 2, 3, 4, "1.2.3.4");
    PyObject* view = PyShVersionAttr_GetView(object.get());
    const Py_ssize_t references = Py_REFCNT(view);
    PyRef text = PyRef::steal(PyObject_Str(object.get()));
    EXPECT_EQ(text.get(), view);
    EXPECT_EQ(Py_REFCNT(view), references + 1);
    text = PyRef();
    EXPECT_EQ(Py_REFCNT(view), references);
}

TEST_F(ModuleVersion, ReleasesItsText) {
    PyRef object = version(1, 2, 3, 4, "a text of its own");
    const PyRef view = PyRef::borrow(PyShVersionAttr_GetView(object.get()));
    EXPECT_EQ(Py_REFCNT(view.get()), 2);
    object = PyRef();
    EXPECT_EQ(Py_REFCNT(view.get()), 1);
}

TEST_F(ModuleVersion, AttributesAreReadOnly) {
    const PyRef object = version(1, 2, 3, 4);
    for (const char* name : {"major", "minor", "patch", "sub", "view"}) {
        EXPECT_EQ(PyObject_SetAttrString(object.get(), name, Py_None), -1) << name;
        expect_error(PyExc_AttributeError, "readonly attribute");
    }
}

TEST_F(ModuleVersion, PythonCannotMakeOne) {
    EXPECT_FALSE(evaluate("type(v)(1, 2, 3, 4)", {{"v", version(1, 2, 3, 4).get()}}));
    expect_error(PyExc_TypeError, "cannot create 'zelmor.imaging._ModuleVersionType' instances");
}

TEST_F(ModuleVersion, OrdersByTheFourNumbersInTurnAndIgnoresTheText) {
    const std::vector<PyRef> ascending = [] {
        std::vector<PyRef> versions;
        versions.push_back(version(-1, 9, 9, 9, "z"));
        versions.push_back(version(22, 6, 0, 0, "y"));
        versions.push_back(version(23, -5, 0, 0, "x"));
        versions.push_back(version(23, 5, 9, 9, "w"));
        versions.push_back(version(23, 6, 0, 1, "v"));
        versions.push_back(version(23, 6, 1, 0, "u"));
        return versions;
    }();
    const auto holds = [](const PyRef& left, const PyRef& right, int operation) {
        return PyObject_RichCompareBool(left.get(), right.get(), operation) == 1;
    };
    for (size_t i = 0; i < ascending.size(); ++i) {
        for (size_t k = 0; k < ascending.size(); ++k) {
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_LT), i < k);
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_LE), i <= k);
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_EQ), i == k);
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_NE), i != k);
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_GT), i > k);
            EXPECT_EQ(holds(ascending[i], ascending[k], Py_GE), i >= k);
        }
    }
    EXPECT_TRUE(holds(version(1, 2, 3, 4, "one"), version(1, 2, 3, 4, "other"), Py_EQ));
}

TEST_F(ModuleVersion, ATextIsNoVersion) {
    const PyRef object = version(23, 6, 0, 0, "23.6.0.0");
    EXPECT_EQ(evaluate("v == '23.6.0.0'", {{"v", object.get()}}).get(), Py_False);
    EXPECT_EQ(evaluate("v.__eq__('23.6.0.0')", {{"v", object.get()}}).get(), Py_NotImplemented);
    EXPECT_FALSE(evaluate("v < '23.7'", {{"v", object.get()}}));
    expect_error(PyExc_TypeError,
                 "'<' not supported between instances of 'zelmor.imaging._ModuleVersionType' and 'str'");
}

TEST_F(ModuleVersion, ASiblingsVersionDoesNotCompare) {
    ASSERT_EQ(PyType_Ready(&sibling_version_type()), 0);
    const PyRef sibling = PyRef::steal(PyType_GenericNew(&sibling_version_type(), nullptr, nullptr));
    const PyRef object = version(0, 0, 0, 0);
    EXPECT_EQ(evaluate("v.__eq__(s)", {{"v", object.get()}, {"s", sibling.get()}}).get(), Py_NotImplemented);
}

TEST_F(ModuleVersion, TheHashIsFnv1aOverTheNumbersInMemoryOrder) {
    const std::vector<std::vector<int>> versions = {{23, 6, 0, 0}, {22, 6, 0, 0}, {0, 0, 0, 0}, {-1, 256, 65536, 7}};
    for (const auto& numbers : versions) {
        std::vector<unsigned char> bytes;
        for (int number : numbers) {
            for (int i = 0; i < 4; ++i) {
                bytes.push_back(static_cast<unsigned char>(static_cast<uint32_t>(number) >> (8 * i)));
            }
        }
        const PyRef object = version(numbers[0], numbers[1], numbers[2], numbers[3]);
        EXPECT_EQ(PyObject_Hash(object.get()), fnv1a(bytes));
    }
}

TEST_F(ModuleVersion, TheHashDependsOnTheNumbersOnly) {
    EXPECT_EQ(PyObject_Hash(version(23, 6, 0, 0, "one").get()), PyObject_Hash(version(23, 6, 0, 0, "two").get()));
    EXPECT_NE(PyObject_Hash(version(23, 6, 0, 0).get()), PyObject_Hash(version(23, 6, 0, 1).get()));
}

TEST_F(ModuleVersion, CompareTellsHowARequirementStandsToAVersion) {
    const int reference[4] = {23, 5, 0, 0};
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(23, 5, 0, 0).get()), 0);
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(23, 5, 0, 1).get()), -1);
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(24, 0, 0, 0).get()), -1);
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(23, 4, 9, 9).get()), 1);
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(22, 9, 9, 9).get()), 1);
    EXPECT_EQ(PyShVersionAttr_Compare(reference, version(23, 5, -1, 9).get()), 1);
}

TEST_F(ModuleVersion, CompareReadsASiblingsVersionByItsLayout) {
    ASSERT_EQ(PyType_Ready(&sibling_version_type()), 0);
    const PyRef sibling = PyRef::steal(PyType_GenericNew(&sibling_version_type(), nullptr, nullptr));
    reinterpret_cast<PyShVersionObject*>(sibling.get())->major = 23;
    const int reference[4] = {23, 0, 0, 1};
    EXPECT_EQ(PyShVersionAttr_Compare(reference, sibling.get()), 1);
}

TEST_F(ModuleVersion, TheRecordHasItsSizesAndNoConstructor) {
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_ModuleVersion.tp_basicsize, 40);
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_ModuleVersion.tp_new, nullptr);
    EXPECT_FALSE(wrpPye_tyds_FFFFFFFF_ModuleVersion.tp_flags & Py_TPFLAGS_BASETYPE);
}
