// Enciphering and deciphering texts.
#include <process/crypt.h>

#include <foundation/secret.h>
#include <foundation/sha1.h>
#include <platform/clock.h>
#include <platform/process.h>

#include <algorithm>
#include <atomic>

namespace {

constexpr size_t kMostBlock = 256; // the length of a block is a byte
constexpr size_t kMostRead = 156;  // bytes of a cipher text, its vector counted

struct Block {
    uint8_t bytes[kMostBlock + 2];
};

// The last vector, packed; the first byte of each is the random byte that it was made from.
std::atomic<uint64_t> g_last_vector{0};

void make_vector(uint8_t random, CipherVector *vector)
{
    uint64_t packed = 0;
    for (size_t i = 0; i < kCipherBlock; ++i) {
        (*vector)[i] = static_cast<uint8_t>(random + random / 8 * i);
        packed = packed << 8 | (*vector)[i];
    }
    g_last_vector = packed;
}

// Never the byte of the vector before: two texts in a row differ, even when they are the same text.
uint8_t random_byte()
{
    static std::atomic<uint32_t> calls{0};
    const std::string seed = format_string("%d %u %u", pl_now().microseconds, pl_process_id(), ++calls);
    const uint8_t drawn = sha1(seed)[0];
    return drawn == g_last_vector >> 56 ? static_cast<uint8_t>(drawn + 1) : drawn;
}

uint8_t block_length(size_t length)
{
    return static_cast<uint8_t>(length % 256 * 2 / kCipherBlock * kCipherBlock + kCipherBlock);
}

// As much of the text as the block holds, and what fills it.
void fill(Block *block, size_t size, const char *text, size_t length)
{
    for (size_t i = 0; i < size; ++i)
        block->bytes[i] = i >= 2 * length ? static_cast<uint8_t>(size - 2 * length)
                          : i % 2 != 0    ? static_cast<uint8_t>(text[i / 2])
                                          : uint8_t{0};
}

void append_hex(char *out, const uint8_t *bytes, size_t size)
{
    for (size_t i = 0; i < size; ++i) {
        FixedText<3> digits;
        digits.format("%02x", bytes[i]);
        append_text(out, TAMBA_CIPHER_SIZE, digits.view());
    }
}

int hex_digit(char c)
{
    if (is_digit(c))
        return c - '0';
    const char letter = ascii_lower(c);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

// Reads pairs of digits, up to the first that is none.  Returns the number of bytes.
size_t read_hex(std::string_view text, uint8_t *bytes, size_t room)
{
    size_t count = 0;
    while (count < room) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
        const int high = text.size() >= 2 ? hex_digit(text[0]) : -1, low = high < 0 ? -1 : hex_digit(text[1]);
        if (low < 0)
            break;
        bytes[count++] = static_cast<uint8_t>(high * 16 + low);
        text.remove_prefix(2);
    }
    return count;
}

// The number of characters: zero bytes in front of two neighbours that are equal.  Behind the block stand zeros, at which
// texts end that other systems filled in a way of their own.
size_t count_characters(const Block &block, size_t size)
{
    size_t count = 0;
    for (size_t i = 0; i < size && block.bytes[i] != block.bytes[i + 1]; ++i)
        count += block.bytes[i] == 0 ? 1 : 0;
    return count;
}

// An empty text consists of what fills it.
bool is_empty_text(const Block &block, size_t size)
{
    return size == kCipherBlock &&
           std::all_of(block.bytes, block.bytes + size, [](uint8_t byte) { return byte == kCipherBlock; });
}

} // namespace

int32_t crypt_encrypt_with(uint8_t random, char *cipher_out, const char *clear_text, size_t length,
                           const char *pass_phrase)
{
    Secret<Block> block;
    Secret<Sha1Digest> key;
    *key = sha1(text_or_empty(pass_phrase));
    CipherVector vector;
    make_vector(random, &vector);
    const size_t size = block_length(length);
    fill(&*block, size, clear_text, length);
    blowfish_cbc(block->bytes, size, key->data(), vector, true);
    copy_text(cipher_out, TAMBA_CIPHER_SIZE, "");
    append_hex(cipher_out, vector, sizeof vector);
    append_hex(cipher_out, block->bytes, size);
    return 0;
}

int32_t crypt_encrypt(char *cipher_out, const char *clear_text, size_t length, const char *pass_phrase)
{
    return crypt_encrypt_with(random_byte(), cipher_out, clear_text, length, pass_phrase);
}

bool decipher(std::string_view cipher_text, std::string_view pass_phrase, char *out)
{
    copy_text(out, kClearSize, "");
    uint8_t bytes[kMostRead];
    const size_t read = read_hex(cipher_text, bytes, sizeof bytes) / kCipherBlock * kCipherBlock;
    if (read < 2 * kCipherBlock)
        return false;
    CipherVector vector;
    std::copy_n(bytes, kCipherBlock, vector);
    const size_t size = read - kCipherBlock;
    Secret<Block> block;
    Secret<Sha1Digest> key;
    *key = sha1(pass_phrase);
    std::copy_n(bytes + kCipherBlock, size, block->bytes);
    blowfish_cbc(block->bytes, size, key->data(), vector, false);
    const size_t end = std::min(2 * count_characters(*block, size), size);
    char *to = out;
    for (size_t i = 0; i < end; ++i)
        if (block->bytes[i] != 0)
            *to++ = static_cast<char>(block->bytes[i]);
    *to = '\0';
    return *out != '\0' || is_empty_text(*block, size);
}

int32_t crypt_decrypt(char *clear_out, const char *cipher_text, const char *pass_phrase)
{
    decipher(text_or_empty(cipher_text), text_or_empty(pass_phrase), clear_out);
    return 0;
}
