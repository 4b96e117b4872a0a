/*
 * The file that a test shares with a program under the preloaded library: the fault that the
 * program is to meet and, afterwards, what the program did. For C and C++.
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
    QX_FAIL,   /* with the error `detail` */
    QX_SHORT,  /* handle half of what a read or write is asked for */
    QX_TEAR,   /* the same, then kill the program */
    QX_SIGNAL, /* send the program the signal `detail` before the call */
    QX_FULL,   /* fill the file system of QX_FILL before the call */
    QX_FILES   /* from this call on, nothing can be opened any more */
};

/* The call number `at` (from 1, children counted too) of a function meets `action`. */
struct qx_fault {
    enum qx_call call;
    long at;
    enum qx_action action;
    int detail;
};

struct qx_run {
    struct qx_fault fault;
    int fired;     /* the program reached the call */
    int ended;     /* the program ended normally, so the members below are complete */
    int left_open; /* number of descriptors opened and not closed */
    long calls[QX_CALL_COUNT];
    struct {
        void* block;
        size_t size;
    } live[1 << 12]; /* blocks that the program itself has not freed */
};
