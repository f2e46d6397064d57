#include <foundation/sha1.h>

#include <foundation/secret.h>

#include <algorithm>
#include <bit>

namespace {

constexpr size_t kBlock = 64,
                 kLengthAt = 56; // bytes; where the length of the message stands in the last block

using State = std::array<uint32_t, 5>;

struct Words {
    uint32_t w[80];
};

uint32_t word_at(const uint8_t *bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

// The function and the constant of a step.
uint32_t mixed(size_t step, uint32_t b, uint32_t c, uint32_t d)
{
    if (step < 20)
        return ((b & c) | (~b & d)) + 0x5A827999;
    if (step < 40)
        return (b ^ c ^ d) + 0x6ED9EBA1;
    if (step < 60)
        return ((b & c) | (b & d) | (c & d)) + 0x8F1BBCDC;
    return (b ^ c ^ d) + 0xCA62C1D6;
}

void take_block(State *state, const uint8_t *block)
{
    Secret<Words> words;
    uint32_t(&w)[80] = words->w;
    for (size_t i = 0; i < 16; ++i)
        w[i] = word_at(block + 4 * i);
    for (size_t i = 16; i < 80; ++i)
        w[i] = std::rotl(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    auto [a, b, c, d, e] = *state;
    for (size_t i = 0; i < 80; ++i) {
        const uint32_t next = std::rotl(a, 5) + mixed(i, b, c, d) + e + w[i];
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    const State added = {a, b, c, d, e};
    for (size_t i = 0; i < added.size(); ++i)
        (*state)[i] += added[i];
}

struct Tail {
    uint8_t bytes[2 * kBlock];
};

} // namespace

Sha1Digest sha1(std::string_view message)
{
    State state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    const auto *bytes = reinterpret_cast<const uint8_t *>(message.data());
    size_t left = message.size();
    for (; left >= kBlock; left -= kBlock, bytes += kBlock)
        take_block(&state, bytes);
    Secret<Tail> tail; // the rest, a one, zeros, and the length in bits
    std::copy_n(bytes, left, tail->bytes);
    tail->bytes[left] = 0x80;
    const size_t end = left < kLengthAt ? kBlock : 2 * kBlock;
    const uint64_t bits = uint64_t{message.size()} * 8;
    for (size_t i = 0; i < 8; ++i)
        tail->bytes[end - 1 - i] = static_cast<uint8_t>(bits >> (8 * i));
    for (size_t at = 0; at < end; at += kBlock)
        take_block(&state, tail->bytes + at);
    Sha1Digest digest;
    for (size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
    wipe(&state, sizeof state);
    return digest;
}
