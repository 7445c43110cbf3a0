// The object table.
#include "runtime/native/core/handles.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "fake_python.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

class HandlesTest : public test::RuntimeTest {};

// Says on the outside when it goes.
class Watched final : public ManagedObject {
 public:
    explicit Watched(bool& gone) : ManagedObject(object_type()), m_gone(gone) {}
    ~Watched() override { m_gone = true; }

 private:
    bool& m_gone;
};

TEST_F(HandlesTest, TheNullHandleNamesNoObject) {
    EXPECT_EQ(make_handle(nullptr), nullptr);
    EXPECT_EQ(object_of(nullptr), nullptr);
    free_handle(nullptr);
    EXPECT_THROW(require_object(nullptr), ManagedException);
}

TEST_F(HandlesTest, EachCrossingMakesAHandleOfItsOwn) {
    const auto object = make_instance("Zelmor.Imaging.LoadOptions");
    Handle first = make_handle(object);
    Handle second = make_handle(object);
    EXPECT_NE(first, second);
    EXPECT_EQ(object_of(first), object_of(second));
    free_handle(first);
    EXPECT_EQ(object_of(second), object.get());
    free_handle(second);
}

TEST_F(HandlesTest, FreeingTheLastHandleDestroysTheObject) {
    bool gone = false;
    Handle first = make_handle(make_ref<Watched>(gone));
    Handle second = make_handle(Ref<ManagedObject>(object_of(first)));
    free_handle(first);
    EXPECT_FALSE(gone);
    free_handle(second);
    EXPECT_TRUE(gone);
}

// A link of a chain, which may hold a Python object too.
class Link final : public ManagedObject {
 public:
    explicit Link(Ref<Link> next, PyHeld held = {})
        : ManagedObject(object_type()), m_next(std::move(next)), m_held(std::move(held)) {}

 private:
    Ref<Link> m_next;
    PyHeld m_held;
};

TEST_F(HandlesTest, DestroyingALongChainOfObjectsDoesNotRecurse) {
    PyObject* last = test::new_object();
    Ref<Link> chain = make_ref<Link>(nullptr, PyHeld::borrow(last));
    for (int i = 0; i < 1'000'000; ++i) {
        chain = make_ref<Link>(std::move(chain));
    }
    EXPECT_EQ(last->count, 2);
    chain = nullptr;
    EXPECT_EQ(last->count, 1);
    test::release(last);
}

TEST_F(HandlesTest, PythonObjectsOfADestroyedObjectAreReleasedAtTheEndOfTheCall) {
    PyObject* held = test::new_object();
    Ref<Link> link = make_ref<Link>(nullptr, PyHeld::borrow(held));
    {
        const AssemblyScope outer(Assembly::kImaging);
        link = nullptr;
        EXPECT_EQ(held->count, 2);
        // A reference of the function's own goes where the function says.
        EXPECT_EQ((PyHeld::borrow(held), held->count), 3);
        EXPECT_EQ(held->count, 2);
        { const AssemblyScope inner(Assembly::kImaging); }
        EXPECT_EQ(held->count, 1);
        link = make_ref<Link>(nullptr, PyHeld::borrow(held));
        link = nullptr;
        EXPECT_EQ(held->count, 2);
    }
    EXPECT_EQ(held->count, 1);
    test::release(held);
}

TEST_F(HandlesTest, TheStateOfACallBelongsToItsThread) {
    const AssemblyScope here(Assembly::kImaging);
    const Callbacks* const mine = &callbacks();
    std::thread([&] {
        // Nothing but the imaging assembly's callbacks was handed over, so that another scope finds these, too.
        const AssemblyScope there(Assembly::kPyIo);
        EXPECT_EQ(&callbacks(), mine);
        callbacks_of(Assembly::kPyIo) = *mine;
        EXPECT_EQ(&callbacks(), &callbacks_of(Assembly::kPyIo));
    }).join();
    EXPECT_EQ(&callbacks(), mine);
    callbacks_of(Assembly::kPyIo) = {};
}

TEST_F(HandlesTest, AStaleHandleIsRecognized) {
    Handle handle = make_handle(box(SizeValue{1, 2}));
    free_handle(handle);
    EXPECT_THROW(object_of(handle), ManagedException);
    EXPECT_THROW(free_handle(handle), ManagedException);
    // The slot is used again, under another generation.
    Handle next = make_handle(box(SizeValue{3, 4}));
    EXPECT_NE(next, handle);
    EXPECT_EQ(static_cast<uint32_t>(reinterpret_cast<uint64_t>(next)),
              static_cast<uint32_t>(reinterpret_cast<uint64_t>(handle)));
    EXPECT_THROW(object_of(handle), ManagedException);
    free_handle(next);
}

TEST_F(HandlesTest, AHandleThatWasNeverHandedOutIsRecognized) {
    for (const uint64_t word : {1ull, 0xFFFFFFFFull, 0x100000000ull, 0x7FFF00001234ull, ~0ull}) {
        EXPECT_THROW(object_of(reinterpret_cast<Handle>(word)), ManagedException) << std::hex << word;
    }
    try {
        object_of(reinterpret_cast<Handle>(0x7FFF00001234));
        ADD_FAILURE();
    } catch (const ManagedException& e) {
        EXPECT_EQ(e.name(), "InvalidOperationException");
        EXPECT_EQ(e.detail(), "The handle 0x7fff00001234 is not live: it was given back already or never handed out.");
    }
}

TEST_F(HandlesTest, HandlesAreCountedByKind) {
    const int64_t objects = live_handles(HandleKind::kObject);
    const int64_t structs = live_handles(HandleKind::kStruct);
    const int64_t types = live_handles(HandleKind::kType);
    Handle a = make_handle(make_instance("Zelmor.Imaging.LoadOptions"));
    Handle b = make_struct_handle(PointValue{});
    Handle c = make_handle(type_object(struct_type<PointValue>()));
    std::vector<const ManagedObject*> out;
    for_each_live_handle(
        [](const ManagedObject& object, void* context) {
            static_cast<std::vector<const ManagedObject*>*>(context)->push_back(&object);
        },
        &out);
    EXPECT_EQ(static_cast<int64_t>(out.size()), live_handles());
    EXPECT_EQ(std::count(out.begin(), out.end(), object_of(b)), 1);
    EXPECT_EQ(live_handles(HandleKind::kObject), objects + 1);
    EXPECT_EQ(live_handles(HandleKind::kStruct), structs + 1);
    EXPECT_EQ(live_handles(HandleKind::kType), types + 1);
    EXPECT_EQ(live_handles(), objects + structs + types + 3);
    for (Handle handle : {a, b, c}) {
        free_handle(handle);
    }
    EXPECT_EQ(live_handles(HandleKind::kObject), objects);
    EXPECT_EQ(live_handles(HandleKind::kStruct), structs);
    EXPECT_EQ(live_handles(HandleKind::kType), types);
}

TEST_F(HandlesTest, ManyHandlesStayDistinct) {
    std::set<Handle> handles;
    for (int i = 0; i < 10000; ++i) {
        handles.insert(make_struct_handle(SizeValue{i, i}));
    }
    EXPECT_EQ(handles.size(), 10000u);
    for (Handle handle : handles) {
        free_handle(handle);
    }
}

TEST_F(HandlesTest, ATargetOfAnotherKindIsRefused) {
    test::Owned size(make_struct_handle(SizeValue{}));
    EXPECT_THROW(target<Record>(size.get()), ManagedException);
    EXPECT_THROW(struct_target<PointValue>(size.get()), ManagedException);
    EXPECT_EQ(target_or_null<Record>(nullptr), nullptr);
}

}  // namespace
}  // namespace zelmor::embed
