/* Passwords for client agents: hexadecimal text, enciphered under a pass phrase. */
#ifndef TAMBA_CRYPT_H
#define TAMBA_CRYPT_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_CIPHER_SIZE 520 /* least size of a buffer for an enciphered text */
#define TAMBA_USER_SIZE 256   /* least size of the buffer for a user name */

/* Both functions decipher what the system holds under its own key.  That key is the first line of the file that the key
 * "tbc_key_file" of the ini section "[Params]" names; nobody but the service may be able to read it: its owner is who
 * runs this program or the system's administrator, and the rights of everybody else are none (Windows: the
 * administrators and the system may have some).  Neither clear texts nor pass phrases stand in a trace. */

/* Enciphers a password anew: text is deciphered with the system's own key and enciphered with the caller's.
 *
 * text  hexadecimal digits; of more than 156 bytes only the beginning counts (72 characters of a password)
 * out   TAMBA_CIPHER_SIZE; "" on failure
 *
 * Returns 1, or 0: no usable key file, or a text that is not enciphered with its key (the trace tells which).
 * Thread-safe. */
TAMBA_API int32_t i_TBC_ENCRYPT(const char *text, const char *pass_phrase, char *out, TraceContext trace);

/* Reads user and password of a client from the catalogue.
 *
 * user_out  TAMBA_USER_SIZE; its user name, "" without one
 * out       TAMBA_CIPHER_SIZE; "{", the password enciphered with the pass phrase, "}"; the standard password as it stands
 *           for a client without a password, or that the catalogue does not know; "" on failure
 *
 * Returns 1, or 0: the catalogue cannot be read (E018-DATABAS), or the password cannot be enciphered.  Thread-safe. */
TAMBA_API int32_t i_GET_NETWARE_PASSWORD(const char *client, char *user_out, const char *pass_phrase,
                                         char *out, TraceContext trace);

TAMBA_END

#endif
