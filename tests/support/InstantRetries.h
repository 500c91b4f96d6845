#pragma once
// While alive, FFmpeg's retried opens of missing files record their waits (us) instead of sleeping.

#include <QString>
#include <cstdint>
#include <functional>
#include <vector>

class InstantRetries
{
public:
    InstantRetries();
    ~InstantRetries();
    InstantRetries(const InstantRetries&) = delete;
    InstantRetries& operator=(const InstantRetries&) = delete;

    const std::vector<uint32_t>& waits() const;
    // Runs action during the given wait (1 = the first), as if the world changed meanwhile.
    void duringWait(size_t wait, std::function<void()> action);
};
