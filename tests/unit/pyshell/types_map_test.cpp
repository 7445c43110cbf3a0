// The type registry, and the two writers that the managed side calls.
#include "pyshell/types_map.h"

#include "fixture.h"

using zelmor::PyRef;

namespace {

using Handles = std::vector<void*>;

class TypesMap : public PyShellTest {
 protected:
    // Ids are never forgotten, so that each test takes new ones.
    static long new_id() {
        static long last = 1000;
        return ++last;
    }

    PyWrpTypesMap* map = PyWrpTypesMap::get_instance();
    void* handle = handle_of(0x11);
};

}  // namespace

TEST_F(TypesMap, NamesAreFoundOnceAdded) {
    PyTypeObject* found = &test_struct_type;
    EXPECT_FALSE(map->find(u"Zelmor.Imaging.Nowhere", found));
    EXPECT_EQ(found, &test_struct_type);
    map->add(u"Zelmor.Imaging.Thing", &test_class_type);
    EXPECT_TRUE(map->find(u"Zelmor.Imaging.Thing", found));
    EXPECT_EQ(found, &test_class_type);
}

TEST_F(TypesMap, AddOverwrites) {
    const long id = new_id();
    PyTypeObject* found = nullptr;
    map->add(id, &test_class_type);
    map->add(id, &test_struct_type);
    EXPECT_TRUE(map->find(id, found));
    EXPECT_EQ(found, &test_struct_type);
    map->add_weak(id, &test_class_type);
    map->add_weak(id, nullptr);
    EXPECT_TRUE(map->find_weak(id, found));
    EXPECT_EQ(found, nullptr);
    map->add(u"Overwritten", &test_class_type);
    map->add(u"Overwritten", &test_struct_type);
    EXPECT_TRUE(map->find(u"Overwritten", found));
    EXPECT_EQ(found, &test_struct_type);
}

TEST_F(TypesMap, TheTwoIdMapsAreIndependent) {
    const long strong = new_id();
    const long weak = new_id();
    PyTypeObject* found = nullptr;
    map->add(strong, &test_class_type);
    map->add_weak(weak, &test_class_type);
    EXPECT_FALSE(map->find_weak(strong, found));
    EXPECT_FALSE(map->find(weak, found));
}

TEST_F(TypesMap, TakesNoReferenceToAType) {
    const Py_ssize_t references = Py_REFCNT(&test_class_type);
    map->reserve(100);
    map->add(new_id(), &test_class_type);
    map->add_weak(new_id(), &test_class_type);
    map->add(u"Counted", &test_class_type);
    EXPECT_EQ(Py_REFCNT(&test_class_type), references);
}

TEST_F(TypesMap, TheStrongLookupAsksForANameOnce) {
    const long id = new_id();
    map->add(u"Zelmor.Imaging.Thing", &test_class_type);
    managed.type_names[handle] = u"Zelmor.Imaging.Thing";
    EXPECT_EQ(get_py_type_object_by_obj(handle, id), &test_class_type);
    EXPECT_EQ(get_py_type_object_by_obj(handle, id), &test_class_type);
    EXPECT_EQ(managed.asked_for_name, Handles{handle});
}

TEST_F(TypesMap, TheStrongLookupDoesNotRememberAMiss) {
    const long id = new_id();
    managed.type_names[handle] = u"Zelmor.Imaging.Unregistered";
    EXPECT_EQ(get_py_type_object_by_obj(handle, id), nullptr);
    EXPECT_EQ(get_py_type_object_by_obj(handle, id), nullptr);
    EXPECT_EQ(managed.asked_for_name, (Handles{handle, handle}));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(TypesMap, WriteMakesAWrapperOfTheRunTimeType) {
    map->add(u"Zelmor.Imaging.Thing", &test_class_type);
    managed.type_names[handle] = u"Zelmor.Imaging.Thing";
    const PyRef wrapper = PyRef::steal(fn_write_py_tpo(handle, new_id()));
    ASSERT_TRUE(wrapper);
    EXPECT_EQ(Py_TYPE(wrapper.get()), &test_class_type);
    EXPECT_EQ(handle_in(wrapper), handle);
    EXPECT_TRUE(managed.freed_objects.empty());
}

TEST_F(TypesMap, WriteRefusesAnUnknownRunTimeTypeAndReleasesTheHandle) {
    managed.type_names[handle] = u"Zelmor.Imaging.Unregistered";
    EXPECT_EQ(fn_write_py_tpo(handle, new_id()), nullptr);
    expect_error(PyExc_TypeError, "unknown wrapper type");
    EXPECT_EQ(managed.freed_objects, Handles{handle});
}

TEST_F(TypesMap, WriteFailsForATypeThatTheWeakPathAnsweredWithTheDeclaredOne) {
    const long id = new_id();
    managed.type_names[handle] = u"Zelmor.Imaging.Unregistered";
    PyTypeObject* found = &test_class_type;
    EXPECT_TRUE(zelmor::find_type_weakly(handle, id, found));
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(fn_write_py_tpo(handle, id), nullptr);
    expect_error(PyExc_TypeError, "unknown wrapper type");
    EXPECT_EQ(managed.asked_for_name.size(), 2u);
}

TEST_F(TypesMap, TryWriteMakesAWrapper) {
    map->add(u"Zelmor.Imaging.Thing", &test_class_type);
    managed.type_names[handle] = u"Zelmor.Imaging.Thing";
    PyObject* out = nullptr;
    EXPECT_EQ(fn_try_write_py_tpo(handle, new_id(), &out), 1);
    const PyRef wrapper = PyRef::steal(out);
    EXPECT_EQ(Py_TYPE(wrapper.get()), &test_class_type);
    EXPECT_EQ(handle_in(wrapper), handle);
}

TEST_F(TypesMap, TryWriteAnswersZeroWithoutAnErrorForAnUnknownType) {
    managed.type_names[handle] = u"Zelmor.Imaging.Unregistered";
    PyObject* out = nullptr;
    EXPECT_EQ(fn_try_write_py_tpo(handle, new_id(), &out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(managed.freed_objects, Handles{handle});
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(TypesMap, TryWriteAnswersMinusOneWhenTheWrappingFails) {
    map->add(u"Zelmor.Imaging.Refusing", &test_refusing_type);
    managed.type_names[handle] = u"Zelmor.Imaging.Refusing";
    PyObject* out = nullptr;
    EXPECT_EQ(fn_try_write_py_tpo(handle, new_id(), &out), -1);
    EXPECT_EQ(managed.freed_objects, Handles{handle});
    expect_error(PyExc_RuntimeError, "refused");
}

TEST_F(TypesMap, AnErrorInPlaceOfANameStandsAndTheHandleGoesBack) {
    managed.raises = "no name today";
    PyObject* out = nullptr;
    EXPECT_EQ(fn_try_write_py_tpo(handle, new_id(), &out), -1);
    expect_error(PyExc_RuntimeError, "no name today");
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(fn_write_py_tpo(handle, new_id()), nullptr);
    expect_error(PyExc_RuntimeError, "no name today");
    EXPECT_EQ(managed.freed_objects, (Handles{handle, handle}));
}

TEST_F(TypesMap, TheWeakLookupRemembersHitsAndMisses) {
    map->add(u"Zelmor.Imaging.Thing", &test_class_type);
    const long known = new_id();
    const long unknown = new_id();
    void* other = handle_of(0x12);
    managed.type_names[handle] = u"Zelmor.Imaging.Thing";
    managed.type_names[other] = u"Zelmor.Imaging.Unregistered";
    for (int round = 0; round < 2; ++round) {
        PyTypeObject* found = nullptr;
        EXPECT_TRUE(zelmor::find_type_weakly(handle, known, found));
        EXPECT_EQ(found, &test_class_type);
        EXPECT_TRUE(zelmor::find_type_weakly(other, unknown, found));
        EXPECT_EQ(found, nullptr);
    }
    EXPECT_EQ(managed.asked_for_name, (Handles{handle, other}));
}

TEST_F(TypesMap, TheWeakLookupRemembersNothingOfAFailureToTellTheName) {
    const long id = new_id();
    managed.raises = "no name";
    PyTypeObject* found = &test_class_type;
    EXPECT_FALSE(zelmor::find_type_weakly(handle, id, found));
    expect_error(PyExc_RuntimeError, "no name");
    managed.raises.clear();
    managed.type_names[handle] = u"Zelmor.Imaging.Unregistered";
    EXPECT_TRUE(zelmor::find_type_weakly(handle, id, found));
    EXPECT_EQ(managed.asked_for_name.size(), 2u);
}
