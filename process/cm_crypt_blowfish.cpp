// libcrypto's Blowfish.  Its own interface is deprecated there but needs no provider, which a site may not have.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/opensslconf.h>
#ifdef OPENSSL_NO_BF
#error "this libcrypto has no Blowfish: passwords for clients could not be enciphered"
#endif
#include <openssl/blowfish.h>

#include <foundation/secret.h>
#include <process/crypt.h>

#include <algorithm>

constexpr int kKeyLength = 20;

void blowfish_cbc(uint8_t *blocks, size_t size, const uint8_t *key, const CipherVector &vector, bool encipher)
{
    if (size == 0)
        return;
    Secret<BF_KEY> schedule;
    BF_set_key(&*schedule, kKeyLength, key);
    CipherVector chain; // is changed
    std::copy_n(vector, kCipherBlock, chain);
    BF_cbc_encrypt(blocks, blocks, static_cast<long>(size), &*schedule, chain,
                   encipher ? BF_ENCRYPT : BF_DECRYPT);
}
