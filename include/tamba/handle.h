/* The handle type of records that keep something of the operating system open. */
#ifndef TAMBA_HANDLE_H
#define TAMBA_HANDLE_H

/* A number that the library gives out, never 0, never used again for another object while a stale copy could be around:
 * a second release of the same record reaches nothing, on both platforms.  Callers keep it and pass it back, nothing
 * else. */
typedef void *TB_HANDLE;

#endif
