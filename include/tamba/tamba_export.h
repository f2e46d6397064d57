/* Export macro and the few platform facts that a public header has to know. */
#ifndef TAMBA_EXPORT_H
#define TAMBA_EXPORT_H

#include <stddef.h>
#include <stdint.h>

#if defined(TAMBA_STATIC)
#define TAMBA_API
#elif defined(_WIN32)
#if defined(TAMBA_BUILDING)
#define TAMBA_API __declspec(dllexport)
#else
#define TAMBA_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TAMBA_API __attribute__((visibility("default")))
#else
#define TAMBA_API
#endif

#ifdef __cplusplus
#define TAMBA_BEGIN extern "C" {
#define TAMBA_END }
#else
#define TAMBA_BEGIN
#define TAMBA_END
#endif

/* Lets the compiler compare a literal format with its arguments. */
#if defined(__clang__)
#define TAMBA_PRINTF(format_index, first_argument)                                                           \
    __attribute__((format(printf, format_index, first_argument)))
#elif defined(__GNUC__)
#define TAMBA_PRINTF(format_index, first_argument)                                                           \
    __attribute__((format(gnu_printf, format_index, first_argument)))
#else
#define TAMBA_PRINTF(format_index, first_argument)
#endif

/* For functions that end the program. */
#if defined(__GNUC__)
#define TAMBA_NORETURN __attribute__((noreturn))
#elif defined(_MSC_VER)
#define TAMBA_NORETURN __declspec(noreturn)
#else
#define TAMBA_NORETURN
#endif

/* A C library that declares the bounded copies itself (glibc from 2.38 on, the BSDs) does so with attributes
 * of its own, which a second declaration may not repeat or contradict. */
#if defined(__GLIBC__)
#if __GLIBC_PREREQ(2, 38)
#define TAMBA_LIBC_HAS_STRLCPY 1
#endif
#elif defined(__APPLE__) || defined(__FreeBSD__) || defined(__OpenBSD__) || defined(__NetBSD__)
#define TAMBA_LIBC_HAS_STRLCPY 1
#endif

/* glibc's promise for functions of its own, which C++ wants in every declaration of such a function. */
#if defined(__cplusplus) && defined(__GLIBC__)
#define TAMBA_LIBC_NOEXCEPT noexcept
#else
#define TAMBA_LIBC_NOEXCEPT
#endif

#endif
