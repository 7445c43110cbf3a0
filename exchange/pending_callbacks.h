// The callbacks that stand in the tables but cannot do their work in this version.
//
// The managed side indexes the tables by position, so every slot is filled. Each of these raises
// NotImplementedError with its own name and answers the failure code of its kind, which the managed side turns into
// an exception. This list is the only place where such a callback is named; one that is made to work leaves it.
#pragma once

#include "exchange/callbacks.h"

// The element identifiers whose typed list and sequence access is pending, in the order of kGenericElements; two
// callbacks each, both failing with -1.
// clang-format off
#define ZELMOR_PENDING_ELEMENTS(X)                                                                  \
    X(6DB53617) X(4161C915) X(AD9D9BA5) X(C63CF845) X(0D581152) X(793CE1A2) X(A29B253A) X(5A6B40F1) \
    X(0230D20F) X(5924F2FC) X(A139325E) X(A57BD1E8) X(0938A206) X(75054454) X(9BE3A030) X(2F797332) \
    X(DD9A8D00) X(11A60AB4) X(2B0546B4) X(B67D0F40) X(F421E052) X(62797633) X(578FF222) X(590CE12F) \
    X(51D6BEAB) X(5A71E0F9) X(AD4C5CC9) X(32726122) X(6228A3B1) X(B748930C) X(C89B66BC) X(B3841592) \
    X(3814BE29) X(4B725488) X(79C35D44) X(70438DFB) X(35D0AC00) X(D065E58A) X(8E76FE13) X(8626AC59) \
    X(6569C051) X(5BCD4B3E) X(436B9FB4) X(8A028265) X(1BA766B5) X(A2718E40) X(A4A29720) X(DAF680C1) \
    X(E7C32114) X(F372CE9B) X(CF33F510) X(FCB07591) X(F25B175D) X(CBE911FC) X(57AC8DC4) X(110A8374) \
    X(72D20219)
// clang-format on

#define ZELMOR_DECLARE_PENDING_ELEMENT(element)                                    \
    int fn_clbk_pylist_##element##_get_item(PyObject* list, int index, void* out); \
    int fn_clbk_pyseq_##element##_get_item(PyObject* sequence, int index, PyObject** owner, void* out);
ZELMOR_PENDING_ELEMENTS(ZELMOR_DECLARE_PENDING_ELEMENT)
#undef ZELMOR_DECLARE_PENDING_ELEMENT
