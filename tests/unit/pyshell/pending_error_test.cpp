// A pending error is taken out of the indicator, and comes back as it was.
#include "pyshell/pending_error.h"

#include "fixture.h"

using zelmor::PendingError;
using zelmor::PyRef;

namespace {

using PendingErrors = PyShellTest;

}  // namespace

TEST_F(PendingErrors, NoneIsTakenWhereNoneIsPending) {
    PendingError none = PendingError::take_normalized();
    EXPECT_FALSE(none);
    EXPECT_EQ(none.type(), nullptr);
    EXPECT_EQ(none.value(), nullptr);
    none.restore();
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(PendingErrors, AnErrorComesBackAsItWas) {
    raise_by("raise ValueError('kept')");
    PendingError kept = PendingError::take();
    EXPECT_TRUE(kept);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(kept.type(), PyExc_ValueError);
    EXPECT_NE(kept.traceback(), nullptr);
    PyErr_SetString(PyExc_KeyError, "in between");
    kept.restore();
    EXPECT_FALSE(kept);
    expect_error(PyExc_ValueError, "kept");
}

TEST_F(PendingErrors, AnErrorWithoutATracebackHasANullOne) {
    PyErr_SetString(PyExc_ValueError, "made");
    const PendingError made = PendingError::take();
    EXPECT_EQ(made.traceback(), nullptr);
}

TEST_F(PendingErrors, ANormalizedValueIsAnInstance) {
    PyErr_SetString(PyExc_ValueError, "words");
    EXPECT_TRUE(PyUnicode_Check(PendingError::take().value()));
    PyErr_SetString(PyExc_ValueError, "words");
    EXPECT_TRUE(PyErr_GivenExceptionMatches(PendingError::take_normalized().value(), PyExc_ValueError));
}

TEST_F(PendingErrors, AnErrorThatIsNotPutBackIsDropped) {
    const PyRef value = PyRef::steal(PyObject_CallNoArgs(PyExc_ValueError));
    const RefCountWatch watch(value.get());
    PyErr_SetObject(PyExc_ValueError, value.get());
    {
        PendingError dropped = PendingError::take();
        dropped.drop();
        EXPECT_FALSE(dropped);
    }
    EXPECT_EQ(watch.change(), 0);
    PyErr_SetObject(PyExc_ValueError, value.get());
    (void)PendingError::take();
    EXPECT_EQ(watch.change(), 0);
}

TEST_F(PendingErrors, AssignmentReplacesAnError) {
    PyErr_SetString(PyExc_ValueError, "first");
    PendingError held = PendingError::take();
    PyErr_SetString(PyExc_KeyError, "second");
    held = PendingError::take();
    EXPECT_EQ(held.type(), PyExc_KeyError);
}

TEST_F(PendingErrors, TheValueCanBeTakenAlone) {
    raise_by("raise ValueError('taken')");
    PendingError error = PendingError::take_normalized();
    const PyRef value = error.take_value();
    EXPECT_EQ(text_of(value.get()), "taken");
    EXPECT_FALSE(error);
    EXPECT_EQ(error.traceback(), nullptr);
}
