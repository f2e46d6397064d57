#ifndef TAMBA_TEXT_H
#define TAMBA_TEXT_H

#include <tamba/tamba_export.h>
#include <wchar.h>

TAMBA_BEGIN

#define TAMBA_CHAIN_SIZE 512

#ifndef TAMBA_LIBC_HAS_STRLCPY
TAMBA_API size_t strlcpy(char *to, const char *from, size_t size);
TAMBA_API size_t strlcat(char *to, const char *from, size_t size);
TAMBA_API size_t wcslcpy(wchar_t *to, const wchar_t *from, size_t size);
#endif
TAMBA_API char *lowercase(char *text);
TAMBA_API char *uppercase(char *text);
TAMBA_API char *squeeze(char *text, char c);
TAMBA_API char *str_compress(char *text);
TAMBA_API char *str_trim(char *text);
TAMBA_API char *str_ext(int32_t start, int32_t length, const char *text);
TAMBA_API char *str_chain(char *buffer, int32_t clear, const char *text, ...);
TAMBA_API char *longtoasc(long n);
TAMBA_API char *intoas(int n);
TAMBA_API char *szSTR_ADD(const char *a, const char *b, char *out);
TAMBA_API char *szSTR_SUB(const char *a, const char *b, char *out);
TAMBA_API char *szSTR_DIV(const char *a, const char *b, char *quotient, char *remainder);
TAMBA_API int32_t iSTR_CMP(const char *a, const char *b);
TAMBA_API int32_t iSTR_TURN(char *text, int32_t pad);

TAMBA_END

#endif
