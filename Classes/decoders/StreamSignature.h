#pragma once
// The MD5 signature a lossless stream carries of its decoded audio (FLAC's
// STREAMINFO), checked against the bytes the decoder hands out: interleaved
// little-endian signed samples of (bits + 7) / 8 bytes each, which is what
// the signature covers. OpenSSL sums them: its MD5 is hand-tuned, and the
// bytes are summed where they already lie, without the copy libFLAC's own
// check makes.
//
// Owns its OpenSSL context. One thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <openssl/evp.h>

class StreamSignature
{
public:
    // expected: the stream's signature. Raises an assertion failure when
    // OpenSSL cannot set up an MD5 context.
    explicit StreamSignature(const std::array<uint8_t, 16>& expected);

    void add(const uint8_t* bytes, size_t count);
    // Whether what was added sums to the expected signature. Once.
    bool matches();

    // A signature of all zeros means the encoder did not sum the audio.
    static bool isSet(const uint8_t* signature);

private:
    struct ContextDeleter
    {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, ContextDeleter> m_context;
    std::array<uint8_t, 16> m_expected;
};
