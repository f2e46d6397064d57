// How passwords are enciphered: Blowfish in CBC mode under the SHA-1 digest of a pass phrase.
//
// Each character is a big-endian code unit of 16 bits; what fills the last block, always at least two bytes, holds its own
// length.  The text is the vector and the enciphered bytes in hexadecimal digits.
#pragma once

#include <foundation/text.h>
#include <tamba/crypt.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr size_t kCipherBlock = 8; // of Blowfish, in bytes
constexpr size_t kClearSize = 160; // least size of a buffer for a deciphered text

using CipherVector = uint8_t[kCipherBlock];

// Runs Blowfish over whole blocks, in place.  key: 20 bytes.
void blowfish_cbc(uint8_t *blocks, size_t size, const uint8_t *key, const CipherVector &vector,
                  bool encipher);

// Enciphers a text; 124 to 127 characters (modulo 128) and more lose their end, because the length of the block is counted
// in a byte: agents expect it so.  cipher_out: TAMBA_CIPHER_SIZE.  The second form takes the byte that the vector is made from.
int32_t crypt_encrypt(char *cipher_out, const char *clear_text, size_t length, const char *pass_phrase);
int32_t crypt_encrypt_with(uint8_t random, char *cipher_out, const char *clear_text, size_t length,
                           const char *pass_phrase);

// Deciphers a text of at most 156 bytes, what follows is left out.  clear_out: kClearSize; "" for a text that is none.
int32_t crypt_decrypt(char *clear_out, const char *cipher_text, const char *pass_phrase);

// The same; false for a text that was not enciphered in this way, as far as that can be told.
bool decipher(std::string_view cipher_text, std::string_view pass_phrase, char *out);
