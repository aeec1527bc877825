// export.h: marks what libquoria offers to other modules of the process.
//
// Public header.
//
// Everything in the library is hidden unless it carries this mark.
#ifndef QUORIA_UTIL_EXPORT_H
#define QUORIA_UTIL_EXPORT_H

#define QUORIA_EXPORT __attribute__((visibility("default")))

#endif
