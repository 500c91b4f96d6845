#include "StreamSignature.h"

#include "NamedException.h"

#include <algorithm>

StreamSignature::StreamSignature(const std::array<uint8_t, 16>& expected)
    : m_context(EVP_MD_CTX_new()), m_expected(expected)
{
    ZT_ASSERT(m_context && EVP_DigestInit_ex(m_context.get(), EVP_md5(), nullptr) == 1,
              QStringLiteral("Could not set up an MD5 sum"));
}

void StreamSignature::add(const uint8_t* bytes, size_t count)
{
    EVP_DigestUpdate(m_context.get(), bytes, count);
}

bool StreamSignature::matches()
{
    std::array<uint8_t, EVP_MAX_MD_SIZE> sum{};
    unsigned int length = 0;
    return EVP_DigestFinal_ex(m_context.get(), sum.data(), &length) == 1 && length == m_expected.size() &&
           std::equal(m_expected.begin(), m_expected.end(), sum.begin());
}

bool StreamSignature::isSet(const uint8_t* signature)
{
    return std::any_of(signature, signature + 16, [](uint8_t byte) { return byte != 0; });
}
