// Enciphered passwords, as clients and the catalogue hand them over.
#include <fuzz/target.h>

#include <process/crypt.h>

namespace {

FUZZ_TARGET(cipher_text)
{
    const auto [phrase, text] = halves(input);
    Buffer clear(kClearSize);
    const bool good = decipher(text, phrase, clear.data());
    promise(clear.terminated(), "a clear text is terminated");
    const std::string found = clear.data();
    promise(good || found.empty(), "what was not enciphered gives nothing");
    promise(found.size() <= 144, "a clear text is no longer than what was enciphered");
    if (found.size() > 72)
        return;
    Buffer cipher(TAMBA_CIPHER_SIZE), again(kClearSize);
    crypt_encrypt(cipher.data(), found.data(), found.size(), phrase.c_str());
    promise(cipher.terminated(), "a cipher text is terminated");
    promise(decipher(cipher.data(), phrase.c_str(), again.data()), "what was enciphered is deciphered");
    promise(again.data() == found, "and comes back");
}

} // namespace
