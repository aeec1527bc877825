/* tpt.h: the short form of a source path, as trace events show it.
 *
 * Public header.
 */
#ifndef TPT_H
#define TPT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the part of `path` after its last '/', or `path` itself when it holds none. The result
 * points into `path` and lives as long as it does; null gives null.
 * Thread: any, async-signal-safe. */
const char* tpt_short_fname(const char* path);

#ifdef __cplusplus
}
#endif

#endif
