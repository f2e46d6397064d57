/* Texts and digit strings.
 *
 * A digit string is an unsigned decimal number of at most 19 digits, most significant digit first.
 */
#ifndef TAMBA_TEXT_H
#define TAMBA_TEXT_H

#include <tamba/tamba_export.h>
#include <wchar.h>

TAMBA_BEGIN

#define TAMBA_CHAIN_SIZE 512 /* least size of the buffer of str_chain */
#define TAMBA_EXT_SIZE 512   /* str_ext returns at most one character less */
#define TAMBA_DIGITS_SIZE 24 /* least size of a buffer for a result of szSTR_ADD, szSTR_SUB or szSTR_DIV */
#define TAMBA_TURN_SIZE 21   /* least size of a text that iSTR_TURN pads */

/* Copy or append with the full size of the buffer in bytes (wcslcpy: in wide characters), always terminated
 * unless size is 0.  from may not overlap to.
 *
 * Return the length of the text that was attempted: the result was cut when that is not below size.  When
 * strlcat finds no end of text within size it writes nothing and returns size plus the length of from.
 * Thread-safe. */
#ifndef TAMBA_LIBC_HAS_STRLCPY
TAMBA_API size_t strlcpy(char *to, const char *from, size_t size);
TAMBA_API size_t strlcat(char *to, const char *from, size_t size);
TAMBA_API size_t wcslcpy(wchar_t *to, const wchar_t *from, size_t size);
#endif

/* Convert the ASCII letters of text in place.  Return text.  Thread-safe. */
TAMBA_API char *lowercase(char *text);
TAMBA_API char *uppercase(char *text);

/* Collapse every run of the character c, or of blanks, into one, in place.  Return text.  Thread-safe. */
TAMBA_API char *squeeze(char *text, char c);
TAMBA_API char *str_compress(char *text);

/* Removes leading and trailing blanks and tabs in place.  Returns text.  Thread-safe. */
TAMBA_API char *str_trim(char *text);

/* Part of a text.
 *
 * start   position of the first character, from 0
 * length  number of characters, fewer at the end of text; at most 511
 * text    may be the result of an earlier call
 *
 * Returns a buffer of the process, valid until the next call; "" for a negative start or length, for a start
 * behind the last character and for a length above 511, which is also traced.  Threads: one at a time. */
TAMBA_API char *str_ext(int32_t start, int32_t length, const char *text);

/* Appends texts to a buffer.
 *
 * buffer  TAMBA_CHAIN_SIZE
 * clear   non-zero: buffer is emptied first
 * text    the texts; the list ends with "" or (char *)0.  A text may be buffer itself; after clear it is
 *         empty and so ends the list.
 *
 * A text that would make buffer reach 512 characters is left out, with E001-BASICS in the protocol and both
 * texts on standard error; the following ones are still tried.  Returns buffer.  Thread-safe. */
TAMBA_API char *str_chain(char *buffer, int32_t clear, const char *text, ...);

/* The number as text, in a buffer of the process, one for each function, valid until its next call.
 * Threads: one at a time. */
TAMBA_API char *longtoasc(long n);
TAMBA_API char *intoas(int n);

/* Sum of two digit strings.
 *
 * out  TAMBA_DIGITS_SIZE, may be a or b; "Overflow in A" or "Overflow in B" for an operand of 20 characters
 *      or more
 *
 * Returns out.  Thread-safe. */
TAMBA_API char *szSTR_ADD(const char *a, const char *b, char *out);

/* Signed difference a - b of two digit strings.
 *
 * out  TAMBA_DIGITS_SIZE, may be a or b: "+" or "-" and as many digits as the longer operand has, leading
 *      zeros kept (100 minus 99 is "+001"); "0" for equal texts; "Overflow in A" or "Overflow in B" as for
 *      szSTR_ADD.  Operands are compared as iSTR_CMP does: give them without leading zeros.
 *
 * Returns out.  Thread-safe. */
TAMBA_API char *szSTR_SUB(const char *a, const char *b, char *out);

/* Divides a digit string by a number.
 *
 * b          the divisor, above 0, of 63 bits
 * quotient   TAMBA_DIGITS_SIZE, may be a or b: as many digits as a has (100 by 7 is "014"); "1" when a and b
 *            are equal texts; "Overflow in A" when a has 20 characters or more
 * remainder  TAMBA_DIGITS_SIZE: without leading zeros; "no division", with the quotient "0", when a is empty
 *            or b is no number above 0; "" after an overflow
 *
 * Returns quotient.  Thread-safe. */
TAMBA_API char *szSTR_DIV(const char *a, const char *b, char *quotient, char *remainder);

/* Compares two digit strings that may have a leading "-".  Of two numbers with the same sign the one with
 * more characters has the larger amount, leading zeros included; numbers of equal length compare as texts,
 * negative ones too ("-5" is smaller than "-7").  Returns -1, 0 or 1.  Thread-safe. */
TAMBA_API int32_t iSTR_CMP(const char *a, const char *b);

/* Reverses text in place.  pad non-zero: a text of fewer than 20 characters is filled with "0" to 20 (text:
 * TAMBA_TURN_SIZE).  Returns the length before padding.  Thread-safe. */
TAMBA_API int32_t iSTR_TURN(char *text, int32_t pad);

/* Converts a Latin-1 text to UTF-8.
 *
 * out  receives what fits into size bytes, whole characters, terminated unless size is 0; must not overlap text
 *
 * Returns the length that the whole text needs: it was cut when that is not below size.  Thread-safe. */
TAMBA_API int32_t cm_convert2utf8(const char *text, char *out, int32_t size);

TAMBA_END

#endif
