// Python lists, sequences and iterators as the managed side works on them.
#include "bridge_test.h"
#include "exchange/callbacks.h"
#include "exchange/wire/tags.h"

using zelmor::PyRef;

namespace {

class SequenceCallbacks : public BridgeTest {};

// A reference that the callback takes over.
PyObject* given(PyObject* object) {
    return Py_NewRef(object);
}

PyRef number(long value) {
    return PyRef::steal(PyLong_FromLong(value));
}

std::string repr_of(const PyRef& object) {
    const PyRef text = PyRef::steal(PyObject_Repr(object.get()));
    return text_of(text.get());
}

TEST_F(SequenceCallbacks, ListItemsAreReadAsBorrowedVariants) {
    const PyRef list = evaluate("[5, 'text']");
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_olist_get_item(list.get(), 1, &out), 0);
    EXPECT_EQ(out.tag, kVariantString);
    EXPECT_EQ(out.value, PyList_GET_ITEM(list.get(), 1));
    const RefCountWatch count(PyList_GET_ITEM(list.get(), 1));
    EXPECT_EQ(fn_clbk_olist_get_item(list.get(), 1, &out), 0);
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, ANegativeListIndexIsOutOfRangeForReadingButCountsFromTheEndForRemoving) {
    const PyRef list = evaluate("[1, 2, 3]");
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_olist_get_item(list.get(), -1, &out), -2);
    expect_error(PyExc_IndexError, "list index out of range");
    EXPECT_EQ(fn_clbk_ucol_remove_at(list.get(), -1), 0);
    EXPECT_EQ(repr_of(list), "[1, 2]");
}

TEST_F(SequenceCallbacks, AListItemOfNoKnownKindFails) {
    const PyRef list = evaluate("[set()]");
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_olist_get_item(list.get(), 0, &out), -1);
    expect_error(PyExc_TypeError, "unknown variant type");
}

TEST_F(SequenceCallbacks, StoringAnItemTakesTheValueOver) {
    const PyRef list = evaluate("[1, 2]");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_olist_set_item(list.get(), 1, given(value.get())), 0);
    EXPECT_EQ(count.change(), 1);
    EXPECT_EQ(PyList_GET_ITEM(list.get(), 1), value.get());
}

TEST_F(SequenceCallbacks, AStoreOutOfRangeTakesTwoReferences) {
    const PyRef list = evaluate("[1]");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    Py_INCREF(value.get());
    EXPECT_EQ(fn_clbk_olist_set_item(list.get(), 5, given(value.get())), -2);
    expect_error(PyExc_IndexError, "list assignment index out of range");
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, AddAnswersTheNewLength) {
    const PyRef list = evaluate("[1]");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_olist_add(list.get(), given(value.get())), 2);
    EXPECT_EQ(count.change(), 1);
    EXPECT_EQ(repr_of(list), "[1, 'A VALUE OF ITS OWN']");
}

TEST_F(SequenceCallbacks, AddToSomethingElseFailsAndReleases) {
    const PyRef tuple = evaluate("()");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_olist_add(tuple.get(), given(value.get())), -1);
    expect_error_of(PyExc_SystemError);
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, InsertPutsTheValueBeforeTheIndex) {
    const PyRef list = evaluate("[1, 2]");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_olist_insert(list.get(), 1, given(value.get())), 0);
    EXPECT_EQ(count.change(), 1);
    EXPECT_EQ(repr_of(list), "[1, 'A VALUE OF ITS OWN', 2]");
}

TEST_F(SequenceCallbacks, RemovingAMissingElementFailsWithItsError) {
    const PyRef list = evaluate("[1, 2]");
    EXPECT_EQ(fn_clbk_olist_remove(list.get(), number(1).release()), 0);
    EXPECT_EQ(repr_of(list), "[2]");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_olist_remove(list.get(), given(value.get())), -1);
    expect_error(PyExc_ValueError, "list.remove(x): x not in list");
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, SearchingAListForAMissingElementIsNoFailure) {
    const PyRef list = evaluate("[7, 8]");
    EXPECT_EQ(fn_clbk_olist_contains(list.get(), number(8).release()), 1);
    EXPECT_EQ(fn_clbk_olist_contains(list.get(), number(9).release()), 0);
    EXPECT_EQ(fn_clbk_olist_index_of(list.get(), number(8).release()), 1);
    EXPECT_EQ(fn_clbk_olist_index_of(list.get(), number(9).release()), -1);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(SequenceCallbacks, AnElementThatCannotBeComparedFailsInAListAndCountsAsFoundInASequence) {
    const PyRef names =
        run("class Stubborn:\n    def __eq__(self, other):\n        raise KeyError('no')\n"
            "elements = [Stubborn()]\nother = tuple(elements)\n");
    EXPECT_EQ(fn_clbk_olist_contains(entry_of(names, "elements"), number(1).release()), -1);
    expect_error(PyExc_KeyError, "'no'");
    EXPECT_EQ(fn_clbk_olist_index_of(entry_of(names, "elements"), number(1).release()), -2);
    expect_error(PyExc_KeyError, "'no'");
    EXPECT_EQ(fn_clbk_oseq_contains(entry_of(names, "other"), number(1).release()), 1);
    expect_error(PyExc_KeyError, "'no'");
}

TEST_F(SequenceCallbacks, AnIndexBeyondThirtyTwoBitsIsAnIndexError) {
    const PyRef names =
        run("class Far(list):\n    def __init__(self, at):\n        self.at = at\n"
            "    def index(self, value):\n        return self.at\n"
            "far, near, below = Far(2**31), Far(2**31 - 1), Far(-2**31 - 1)\n");
    EXPECT_EQ(fn_clbk_olist_index_of(entry_of(names, "near"), number(1).release()), 2147483647);
    EXPECT_EQ(fn_clbk_olist_index_of(entry_of(names, "far"), number(1).release()), -2);
    expect_error(PyExc_IndexError, "index too big to convert to 'Int32'");
    EXPECT_EQ(fn_clbk_olist_index_of(entry_of(names, "below"), number(1).release()), -2);
    expect_error(PyExc_IndexError, "index too small to convert to 'Int32'");
}

TEST_F(SequenceCallbacks, AListSubclassKeepsItsOwnMethodsForFourOperations) {
    const PyRef names =
        run("log = []\nclass Own(list):\n"
            "    def remove(self, value): log.append(('remove', value))\n"
            "    def index(self, value): log.append(('index', value)); return 4\n"
            "    def pop(self, at): log.append(('pop', at))\n"
            "    def clear(self): log.append('clear')\n"
            "own = Own()\n");
    PyObject* own = entry_of(names, "own");
    EXPECT_EQ(fn_clbk_olist_remove(own, number(1).release()), 0);
    EXPECT_EQ(fn_clbk_olist_index_of(own, number(2).release()), 4);
    EXPECT_EQ(fn_clbk_ucol_remove_at(own, 3), 0);
    EXPECT_EQ(fn_clbk_ucol_clear(own), 0);
    EXPECT_EQ(repr_of(PyRef::borrow(entry_of(names, "log"))), "[('remove', 1), ('index', 2), ('pop', 3), 'clear']");
}

TEST_F(SequenceCallbacks, RemoveAtOutOfRangeIsAnIndexFailureAndAnythingElseAFailure) {
    const PyRef list = evaluate("[]");
    EXPECT_EQ(fn_clbk_ucol_remove_at(list.get(), 0), -2);
    expect_error(PyExc_IndexError, "pop from empty list");
    const PyRef tuple = evaluate("(1,)");
    EXPECT_EQ(fn_clbk_ucol_remove_at(tuple.get(), 0), -1);
    expect_error(PyExc_AttributeError, "'tuple' object has no attribute 'pop'");
    EXPECT_EQ(fn_clbk_ucol_clear(tuple.get()), -1);
    expect_error(PyExc_AttributeError, "'tuple' object has no attribute 'clear'");
}

TEST_F(SequenceCallbacks, LengthsAreThoseOfTheirProtocol) {
    const PyRef list = evaluate("[1, 2, 3]");
    const PyRef mapping = evaluate("{1: 2}");
    EXPECT_EQ(fn_clbk_ucol_list_length(list.get()), 3);
    EXPECT_EQ(fn_clbk_ucol_list_longlength(list.get()), 3);
    EXPECT_EQ(fn_clbk_ucol_sequence_length(list.get()), 3);
    EXPECT_EQ(fn_clbk_ucol_sequence_longlength(list.get()), 3);
    EXPECT_EQ(fn_clbk_ucol_object_length(mapping.get()), 1);
    EXPECT_EQ(fn_clbk_ucol_object_length(Py_None), -1);
    expect_error(PyExc_TypeError, "object of type 'NoneType' has no len()");
}

TEST_F(SequenceCallbacks, AShortLengthIsTruncated) {
    const PyRef names =
        run("class Long:\n    def __len__(self): return 2**32 + 5\n"
            "    def __getitem__(self, i): return 0\nlong = Long()\n");
    EXPECT_EQ(fn_clbk_ucol_sequence_length(entry_of(names, "long")), 5);
    EXPECT_EQ(fn_clbk_ucol_sequence_longlength(entry_of(names, "long")), (1L << 32) + 5);
}

TEST_F(SequenceCallbacks, AFastListIsFilledThroughItsItems) {
    PyObject* list = nullptr;
    PyObject** items = fn_clbk_ucol_create_fast_list(2, &list);
    fn_clbk_olist_set_fast_item(items, 0, number(1).release());
    fn_clbk_olist_set_fast_item(items, 1, number(2).release());
    EXPECT_EQ(repr_of(PyRef::steal(list)), "[1, 2]");
    items = fn_clbk_ucol_create_fast_longlist(1, &list);
    fn_clbk_olist_set_fast_item(items, 0, number(3).release());
    EXPECT_EQ(repr_of(PyRef::steal(list)), "[3]");
}

TEST_F(SequenceCallbacks, AnEnumeratorIsTheIterator) {
    const PyRef list = evaluate("[1]");
    const PyRef iterator = PyRef::steal(fn_clbk_ucol_get_enumerator(list.get()));
    ASSERT_TRUE(iterator);
    EXPECT_TRUE(PyIter_Check(iterator.get()));
    const PyRef indexed = run("class Indexed:\n    def __getitem__(self, i): return [7, 8][i]\nit = Indexed()\n");
    const PyRef walked = PyRef::steal(fn_clbk_ucol_get_enumerator(entry_of(indexed, "it")));
    EXPECT_EQ(repr_of(PyRef::steal(PySequence_List(walked.get()))), "[7, 8]");
}

TEST_F(SequenceCallbacks, AnIteratorThatIsNoneIsRefusedInOurWords) {
    const PyRef names = run("class Odd:\n    def __iter__(self): return 5\nodd = Odd()\n");
    EXPECT_EQ(fn_clbk_ucol_get_enumerator(entry_of(names, "odd")), nullptr);
    expect_error(PyExc_TypeError, "No iterator in 'Odd'");
    EXPECT_EQ(fn_clbk_ucol_get_enumerator(Py_None), nullptr);
    expect_error(PyExc_TypeError, "'NoneType' object is not iterable");
}

TEST_F(SequenceCallbacks, ASequenceItemKeepsItsReferenceWithTheVariant) {
    const PyRef names =
        run("value = 'an item of its own'.upper()\nclass One:\n"
            "    def __len__(self): return 1\n    def __getitem__(self, i): return [value][i]\n"
            "one = One()\n");
    PyObject* value = entry_of(names, "value");
    const RefCountWatch count(value);
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_oseq_get_item(entry_of(names, "one"), 0, &out), 0);
    EXPECT_EQ(out.tag, kVariantString);
    EXPECT_EQ(out.value, value);
    EXPECT_EQ(count.change(), 1);
    Py_DECREF(value);
    EXPECT_EQ(fn_clbk_oseq_get_item(entry_of(names, "one"), 1, &out), -2);
    expect_error(PyExc_IndexError, "list index out of range");
    EXPECT_EQ(fn_clbk_oseq_get_item(Py_None, 0, &out), -1);
    expect_error_of(PyExc_TypeError);
}

TEST_F(SequenceCallbacks, ASequenceItemOfNoKnownKindIsReleased) {
    const PyRef names = run("item = {1}\nitems = (item,)\n");
    const RefCountWatch count(entry_of(names, "item"));
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_oseq_get_item(entry_of(names, "items"), 0, &out), -1);
    expect_error(PyExc_TypeError, "unknown variant type");
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, SearchingASequence) {
    const PyRef tuple = evaluate("(7, 8)");
    EXPECT_EQ(fn_clbk_oseq_contains(tuple.get(), number(8).release()), 1);
    EXPECT_EQ(fn_clbk_oseq_contains(tuple.get(), number(9).release()), 0);
    EXPECT_EQ(fn_clbk_oseq_index_of(tuple.get(), number(8).release()), 1);
    EXPECT_EQ(fn_clbk_oseq_index_of(tuple.get(), number(9).release()), -1);
}

TEST_F(SequenceCallbacks, AnEmptySequenceIsSearchedWithoutReadingAnElement) {
    const PyRef names =
        run("reads = []\nclass Empty:\n    def __len__(self): return 0\n"
            "    def __getitem__(self, i): reads.append(i)\nempty = Empty()\n");
    EXPECT_EQ(fn_clbk_oseq_index_of(entry_of(names, "empty"), number(1).release()), -1);
    EXPECT_EQ(PyList_GET_SIZE(entry_of(names, "reads")), 0);
}

TEST_F(SequenceCallbacks, AGrowingSequenceIsFollowedByContainsAndNotByIndexOf) {
    const char* growing =
        "reads = []\nclass Growing:\n    size = 1\n    def __len__(self): return self.size\n"
        "    def __getitem__(self, i):\n        reads.append(i)\n"
        "        self.size = min(self.size + 1, 4)\n        return -1\ngrowing = Growing()\n";
    PyRef names = run(growing);
    EXPECT_EQ(fn_clbk_oseq_contains(entry_of(names, "growing"), number(1).release()), 0);
    EXPECT_EQ(PyList_GET_SIZE(entry_of(names, "reads")), 4);
    names = run(growing);
    EXPECT_EQ(fn_clbk_oseq_index_of(entry_of(names, "growing"), number(1).release()), -1);
    EXPECT_EQ(PyList_GET_SIZE(entry_of(names, "reads")), 1);
}

TEST_F(SequenceCallbacks, ASequenceWithoutItsElementFailsAndReleasesTheValue) {
    const PyRef names =
        run("class Hollow:\n    def __len__(self): return 2\n"
            "    def __getitem__(self, i): raise IndexError('hollow')\nhollow = Hollow()\n");
    const PyRef value = evaluate("'a value of its own'.upper()");
    const RefCountWatch count(value.get());
    EXPECT_EQ(fn_clbk_oseq_contains(entry_of(names, "hollow"), given(value.get())), -1);
    expect_error(PyExc_IndexError, "hollow");
    EXPECT_EQ(fn_clbk_oseq_index_of(entry_of(names, "hollow"), given(value.get())), -2);
    expect_error(PyExc_IndexError, "hollow");
    EXPECT_EQ(count.change(), 0);
}

TEST_F(SequenceCallbacks, AnIteratorGivesElementsThenTheEnd) {
    const PyRef names = run("item = 'an item of its own'.upper()\nit = iter([item])\n");
    const RefCountWatch count(entry_of(names, "item"));
    PyObject* owner = nullptr;
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_iter_next(entry_of(names, "it"), &owner, &out), 0);
    EXPECT_EQ(owner, entry_of(names, "item"));
    EXPECT_EQ(out.value, owner);
    EXPECT_EQ(out.tag, kVariantString);
    EXPECT_EQ(count.change(), 1);
    Py_CLEAR(owner);
    EXPECT_EQ(fn_clbk_iter_next(entry_of(names, "it"), &owner, &out), 1);
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(SequenceCallbacks, AnIteratorThatRaisesOrGivesNoKnownKindFailsWithTwo) {
    const PyRef names =
        run("def raising():\n    raise KeyError('broken')\n    yield\n"
            "bad, odd = raising(), iter([{1}])\n");
    PyObject* owner = nullptr;
    VariantArg out = {};
    EXPECT_EQ(fn_clbk_iter_next(entry_of(names, "bad"), &owner, &out), 2);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_iter_next(entry_of(names, "odd"), &owner, &out), 2);
    expect_error(PyExc_TypeError, "unknown variant type");
    EXPECT_EQ(owner, nullptr);
}

}  // namespace
