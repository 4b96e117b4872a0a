/*
 * The layout of the file that a test shares with the preloaded library. The test writes the fault,
 * and the library records the run. Included by C and C++.
 */
#pragma once

#include <stddef.h>

#define CALL(name, ...) QX_CALL_##name,
enum qx_call {
    QX_CALL_any,   /* every function of calls.def */
    QX_CALL_alloc, /* malloc, calloc and realloc */
#include "calls.def"
    QX_CALL_COUNT
};

enum qx_action {
    QX_NOTHING,
    QX_FAIL,   /* fail with errno `detail` */
    QX_SHORT,  /* transfer half of the requested size */
    QX_TEAR,   /* like QX_SHORT, then kill the program */
    QX_SIGNAL, /* send the program the signal `detail` before the call */
    QX_FULL,   /* fill the disk that holds the file $QX_FILL before the call */
    QX_FILES   /* forbid new descriptors from this call on */
};

/* Injects `action` into call number `at` of a function, counted from 1 across the program and its
 * forked children. */
struct qx_fault {
    enum qx_call call;
    long at;
    enum qx_action action;
    int detail;
};

struct qx_run {
    struct qx_fault fault;
    int fired;     /* whether the program reached the faulty call */
    int ended;     /* whether the program ended normally; if not, the members below are invalid */
    int left_open; /* number of descriptors opened and not closed */
    long calls[QX_CALL_COUNT];
    struct {
        void* block;
        size_t size;
    } live[1 << 12]; /* blocks that the program itself, not a shared library, allocated and kept */
};
