// The cycle collector: what it ends, what it leaves, and when it runs.
#include "runtime/native/core/collector.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Types.h"
#include "runtime/native/behaviors/formats/cdr_texts.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {
namespace {

// An object that refers to others, and counts how many of its kind there are.
class Node final : public ManagedObject {
 public:
    explicit Node(PyHeld its_python = {}, uint64_t bytes = 0)
        : ManagedObject(object_type()), held(std::move(its_python)) {
        track(bytes);
        ++alive;
    }
    ~Node() override { --alive; }
    void references(ReferenceVisitor& visitor) override { visitor(others); }

    std::vector<Ref<Node>> others;
    PyHeld held;
    int64_t number = 0;
    static inline int64_t alive = 0;
};

size_t collect_all() {
    const AssemblyScope scope(Assembly::kImaging);
    return Collector::collect(Collector::kGenerations - 1);
}

// The first type of elements that cross the wire so.
const ElementType& any_element(Wire wire) {
    const auto all = elements();
    const auto found =
        std::find_if(all.begin(), all.end(), [wire](const ElementType& element) { return element.wire == wire; });
    return found != all.end() ? *found : element_of(wire, "");
}

class CollectorTest : public test::RuntimeTest {
 protected:
    void SetUp() override {
        test::RuntimeTest::SetUp();
        collect_all();
        m_tracked = Collector::tracked();
    }
    void TearDown() override {
        collect_all();
        EXPECT_EQ(Node::alive, 0);
        EXPECT_EQ(Collector::tracked(), m_tracked);
        test::RuntimeTest::TearDown();
    }
    size_t tracked() const { return Collector::tracked() - m_tracked; }

 private:
    size_t m_tracked = 0;
};

// Records of metafiles have structures by the thousand, which would be looked through for nothing.
TEST_F(CollectorTest, StructuresOfNumbersAndWhatHasThemAreNotTracked) {
    for (const char* name : {"Point", "Rectangle", "Color", "FileFormats.Wmf.Objects.WmfPitchAndFamily",
                             "FileFormats.Wmf.Objects.WmfCieXyz", "FileFormats.Emf.Emf.Records.EmfBlendFunction",
                             "FileFormats.Emf.Dtyp.CommonDataStructures.GuidPacketRepresentation"}) {
        EXPECT_FALSE(make_instance(std::string("Zelmor.Imaging.") + name)->is_holder()) << name;
    }
    const auto record = make_instance("Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfAlphaBlend");
    EXPECT_TRUE(record->is_holder());
    EXPECT_FALSE(record->is_tracked());
}

TEST_F(CollectorTest, AnObjectThatHoldsItselfIsEnded) {
    auto node = make_ref<Node>();
    node->others.push_back(node);
    EXPECT_EQ(collect_all(), 0U);
    EXPECT_EQ(Node::alive, 1);
    node = nullptr;
    EXPECT_EQ(Node::alive, 1);
    EXPECT_EQ(collect_all(), 1U);
    EXPECT_EQ(Node::alive, 0);
}

TEST_F(CollectorTest, ARingIsEndedWithAllThatItLeadsTo) {
    auto first = make_ref<Node>();
    Ref<Node> last = first;
    for (int i = 0; i < 10; ++i) {
        auto next = make_ref<Node>();
        last->others.push_back(next);
        next->others.push_back(make_ref<Node>());
        last = next;
    }
    last->others.push_back(first);
    const auto kept = make_ref<Node>();
    last->others.push_back(kept);
    first = last = nullptr;
    EXPECT_EQ(collect_all(), 21U);
    EXPECT_EQ(Node::alive, 1);
    EXPECT_TRUE(kept->others.empty());
}

TEST_F(CollectorTest, AHandleHoldsARing) {
    auto node = make_ref<Node>();
    auto other = make_ref<Node>();
    node->others.push_back(other);
    other->others.push_back(node);
    const Handle handle = make_handle(other);
    node = other = nullptr;
    EXPECT_EQ(collect_all(), 0U);
    EXPECT_EQ(Node::alive, 2);
    free_handle(handle);
    EXPECT_EQ(collect_all(), 2U);
}

TEST_F(CollectorTest, AnOldObjectHoldsYoungOnes) {
    auto old = make_ref<Node>();
    collect_all();
    old->others.push_back(make_ref<Node>());
    old->others[0]->others.push_back(old->others[0]);
    {
        const AssemblyScope scope(Assembly::kImaging);
        EXPECT_EQ(Collector::collect(0), 0U);
    }
    EXPECT_EQ(Node::alive, 2);
    old->others.clear();
    EXPECT_EQ(collect_all(), 1U);
}

TEST_F(CollectorTest, RecordsAndListsAreKnownOnceTheyHoldAnObjectThatMayHoldOthers) {
    constexpr const char* kNode = "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusRegionNode";
    auto record = make_instance(kNode);
    EXPECT_EQ(tracked(), 0U);
    set_property(*record, "RegionNodeData", record);
    EXPECT_EQ(tracked(), 1U);
    record = nullptr;
    EXPECT_EQ(collect_all(), 1U);

    auto numbers = make_array<int32_t>({1, 2, 3});
    EXPECT_EQ(tracked(), 0U);
    auto list = make_list(ListShape::kArrayList, variant_element());
    ASSERT_TRUE(list);
    list->append(Ref<ManagedObject>(list));
    list->append(Ref<ManagedObject>(list->enumerator()));
    list = nullptr;
    EXPECT_EQ(collect_all(), 2U);
}

TEST_F(CollectorTest, AListOfWhatMayHoldOthersIsKnownFromTheStart) {
    constexpr const char* kNode = "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusRegionNode";
    auto list = make_list(ListShape::kList, element_of(Wire::kClass, kNode));
    auto node = make_instance(kNode);
    set_property(*node, "RegionNodeData", Ref<ManagedObject>(list));
    list->append(node);
    list = nullptr;
    node = nullptr;
    EXPECT_EQ(collect_all(), 2U);

    // The collector has no work with the others.
    for (const Wire wire : {Wire::kString, Wire::kBytes, Wire::kStruct, Wire::kRecord, Wire::kInt64, Wire::kDouble}) {
        const auto plain = make_list(ListShape::kList, any_element(wire), 2);
        EXPECT_EQ(tracked(), 0U) << static_cast<int>(wire);
    }
    for (const Wire wire : {Wire::kObject, Wire::kClass, Wire::kInterface, Wire::kCollection}) {
        const auto holding = make_list(ListShape::kList, any_element(wire));
        EXPECT_EQ(tracked(), 1U) << static_cast<int>(wire);
    }
}

// Asks for a run while its members are being made.
class Early final : public ManagedObject {
 public:
    Early() : ManagedObject(object_type()) {
        track();
        m_self.push_back(make_ref<Node>());
        ended = Collector::collect(Collector::kGenerations - 1);
    }
    void references(ReferenceVisitor& visitor) override { visitor(m_self); }
    size_t ended = 0;

 private:
    std::vector<Ref<Node>> m_self;
};

// The texts are kept beside the properties, where nothing says that they hold others.
TEST_F(CollectorTest, TextsOfADrawingLeadBackToIt) {
    namespace cdr = api::FileFormats::Cdr;
    auto document = make_instance(cdr::Objects::CdrDocument::kType.name);
    auto texts = make_instance(cdr::Types::CdrTextCollection::kType.name);
    auto text = make_instance(cdr::Objects::CdrText::kType.name);
    set_property(*text, "Document", document);
    add_cdr_text(*texts, 1, text);
    set_property(*document, "TextCollection", texts);
    document = texts = text = nullptr;
    EXPECT_GE(tracked(), 3U);
    EXPECT_GE(collect_all(), 3U);
    EXPECT_EQ(tracked(), 0U);
}

TEST_F(CollectorTest, AnObjectThatIsBeingMadeStays) {
    const AssemblyScope scope(Assembly::kImaging);
    const auto early = make_ref<Early>();
    EXPECT_EQ(early->ended, 0U);
    EXPECT_EQ(Node::alive, 1);
}

TEST_F(CollectorTest, PythonObjectsGoAtTheEndOfTheEntryPoint) {
    PyObject* python = test::new_object();
    auto node = make_ref<Node>(PyHeld::borrow(python));
    node->others.push_back(node);
    node = nullptr;
    {
        const AssemblyScope scope(Assembly::kImaging);
        EXPECT_EQ(Collector::collect(Collector::kGenerations - 1), 1U);
        EXPECT_EQ(Node::alive, 0);
        EXPECT_EQ(python->count, 2);
    }
    EXPECT_EQ(python->count, 1);
    test::release(python);
}

TEST_F(CollectorTest, ALongRingTakesNoStack) {
    auto first = make_ref<Node>();
    Ref<Node> last = first;
    for (int i = 1; i < 500'000; ++i) {
        auto next = make_ref<Node>();
        last->others.push_back(next);
        last = std::move(next);
    }
    last->others.push_back(first);
    EXPECT_EQ(collect_all(), 0U);
    first = last = nullptr;
    EXPECT_EQ(collect_all(), 500'000U);
    EXPECT_EQ(Node::alive, 0);
}

TEST_F(CollectorTest, RingsAreEndedAsTheyAreMade) {
    int64_t most = 0;
    for (int i = 0; i < 100'000; ++i) {
        const AssemblyScope scope(Assembly::kImaging);
        auto a = make_ref<Node>();
        auto b = make_ref<Node>();
        a->others.push_back(b);
        b->others.push_back(a);
        most = std::max(most, Node::alive);
    }
    EXPECT_LT(most, 10'000);
}

TEST_F(CollectorTest, NothingRunsInsideOfACall) {
    const AssemblyScope outer(Assembly::kImaging);
    for (int i = 0; i < 10'000; ++i) {
        const AssemblyScope inner(Assembly::kImaging);
        auto node = make_ref<Node>();
        node->others.push_back(node);
    }
    EXPECT_EQ(Node::alive, 10'000);
}

// The share of time: each object is looked at a few times, however many there are.
TEST_F(CollectorTest, ObjectsThatStayAreLookedAtAFewTimes) {
    class Counted final : public ManagedObject {
     public:
        explicit Counted(int64_t& looks) : ManagedObject(object_type()), m_looks(looks) { track(); }
        void references(ReferenceVisitor&) override { ++m_looks; }

     private:
        int64_t& m_looks;
    };
    constexpr int64_t kObjects = 200'000;
    int64_t looks = 0;
    std::vector<Ref<Counted>> kept;
    for (int64_t i = 0; i < kObjects; ++i) {
        const AssemblyScope scope(Assembly::kImaging);
        kept.push_back(make_ref<Counted>(looks));
    }
    // A run looks twice: young, middle, and old as often as these have doubled.
    EXPECT_LT(looks, 12 * kObjects);
    EXPECT_GT(looks, 0);
}

// Two objects that hold each other; a run's looks at them are counted.
class Looked final : public ManagedObject {
 public:
    Looked() : ManagedObject(object_type()) { track(); }
    void references(ReferenceVisitor& visitor) override {
        ++looks;
        visitor(others);
    }
    std::vector<Ref<Looked>> others;
    static inline int64_t looks = 0;  // the last rings are looked at when the test has ended
};

std::vector<Ref<Looked>> looked_ring() {
    std::vector<Ref<Looked>> ring{make_ref<Looked>(), make_ref<Looked>()};
    ring[0]->others.push_back(ring[1]);
    ring[1]->others.push_back(ring[0]);
    return ring;
}

double thread_seconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// The pauses of a program that makes rings and drops them: no call does more than a few runs' work.
TEST_F(CollectorTest, NoCallWaitsLongWhileRingsComeAndGo) {
    const int64_t& looks = Looked::looks;
    int64_t most = 0;
    double longest = 0;
    for (int i = 0; i < 100'000; ++i) {
        const int64_t before = looks;
        const double start = thread_seconds();
        {
            const AssemblyScope scope(Assembly::kImaging);
            looked_ring();
        }
        longest = std::max(longest, thread_seconds() - start);
        most = std::max(most, looks - before);
    }
    // A young run is due after 2,000 objects, and at most four such lots are looked at together: twice while counting
    // and searching, and once while they are ended.
    EXPECT_GT(most, 2'000);
    EXPECT_LT(most, 3 * 4 * 2'002);
    EXPECT_LT(longest, 0.25);  // seconds of the processor; a few milliseconds are usual
}

// The same with 100,000 rings that stay, and then go at once: each object costs a run a constant.
TEST_F(CollectorTest, NoCallWaitsLongAmongManyRings) {
    constexpr int64_t kRings = 100'000;
    int64_t most = 0;
    double longest = 0;
    std::vector<std::vector<Ref<Looked>>> kept;
    const auto measured = [&](const auto& step) {
        const int64_t before = Looked::looks;
        const double start = thread_seconds();
        step();
        longest = std::max(longest, thread_seconds() - start);
        most = std::max(most, Looked::looks - before);
    };
    for (int64_t i = 0; i < kRings; ++i) {
        measured([&] {
            const AssemblyScope scope(Assembly::kImaging);
            kept.push_back(looked_ring());
        });
    }
    kept.clear();
    measured([] { EXPECT_EQ(collect_all(), 2U * kRings); });
    EXPECT_GE(most, 2 * kRings);
    EXPECT_LE(most, 3 * 2 * kRings);
    EXPECT_LT(longest, 1.0);
}

// A graph with random edges and roots, beside a model of it that is searched from the roots.
TEST_F(CollectorTest, ObjectsInUseAreNeverEnded) {
    std::mt19937 random(20240607);
    const auto below = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    for (int round = 0; round < 30; ++round) {
        std::vector<Node*> nodes;  // by number, those that are gone too
        std::vector<std::multiset<size_t>> edges;
        std::vector<std::pair<size_t, Ref<Node>>> roots;
        std::vector<bool> is_alive;
        const auto reachable = [&] {
            std::vector<bool> seen(nodes.size());
            std::vector<size_t> open;
            for (const auto& [number, root] : roots) {
                open.push_back(number);
            }
            while (!open.empty()) {
                const size_t at = open.back();
                open.pop_back();
                if (!seen[at]) {
                    seen[at] = true;
                    open.insert(open.end(), edges[at].begin(), edges[at].end());
                }
            }
            return seen;
        };
        for (int step = 0; step < 400; ++step) {
            const size_t kind = below(10);
            if (roots.empty() || kind < 4) {
                auto node = make_ref<Node>();
                node->number = static_cast<int64_t>(nodes.size());
                nodes.push_back(node.get());
                edges.emplace_back();
                roots.emplace_back(nodes.size() - 1, std::move(node));
            } else if (kind < 7) {
                const auto& [from, node] = roots[below(roots.size())];
                const auto& [to, other] = roots[below(roots.size())];
                node->others.push_back(other);
                edges[from].insert(to);
            } else if (kind < 9) {
                roots.erase(roots.begin() + static_cast<std::ptrdiff_t>(below(roots.size())));
            } else {
                const AssemblyScope scope(Assembly::kImaging);
                Collector::collect(below(Collector::kGenerations));
            }
            // Whatever is in use answers; the address of one that was ended would not.
            for (const auto& [number, root] : roots) {
                ASSERT_EQ(root->number, static_cast<int64_t>(number));
                ASSERT_EQ(root->others.size(), edges[number].size());
            }
        }
        collect_all();
        const std::vector<bool> seen = reachable();
        ASSERT_EQ(Node::alive, std::count(seen.begin(), seen.end(), true));
        for (size_t i = 0; i < seen.size(); ++i) {
            if (seen[i]) {
                ASSERT_EQ(nodes[i]->number, static_cast<int64_t>(i));
            }
        }
        roots.clear();
        collect_all();
        ASSERT_EQ(Node::alive, 0);
    }
}

TEST_F(CollectorTest, FewLargeObjectsAreEnoughForARun) {
    for (int i = 0; i < 20; ++i) {
        const AssemblyScope scope(Assembly::kImaging);
        auto node = make_ref<Node>(PyHeld(), uint64_t{64} << 20);
        node->others.push_back(node);
    }
    EXPECT_LE(Node::alive, 1);
}

}  // namespace
}  // namespace zelmor::embed
