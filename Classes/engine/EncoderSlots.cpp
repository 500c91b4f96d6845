#include "EncoderSlots.h"

#include <algorithm>

EncoderSlots& EncoderSlots::shared()
{
    static EncoderSlots slots;
    return slots;
}

void EncoderSlots::startRun(int capacity)
{
    const std::lock_guard lock(m_mutex);
    m_capacity = std::max(capacity, 0);
    m_rows = 0;
}

bool EncoderSlots::takeForRow()
{
    const std::lock_guard lock(m_mutex);
    if (m_rows + m_borrowed >= m_capacity) {
        return false;
    }
    ++m_rows;
    return true;
}

void EncoderSlots::giveBackRow()
{
    const std::lock_guard lock(m_mutex);
    m_rows = std::max(m_rows - 1, 0);
}

int EncoderSlots::borrowIdle(int most)
{
    const std::lock_guard lock(m_mutex);
    const int taken = std::clamp(m_capacity - m_rows - m_borrowed, 0, std::max(most, 0));
    m_borrowed += taken;
    return taken;
}

void EncoderSlots::giveBack(int count)
{
    std::function<void()> callback;
    {
        const std::lock_guard lock(m_mutex);
        m_borrowed = std::max(m_borrowed - count, 0);
        callback = m_onGivenBack;
    }
    if (callback && count > 0) {
        callback();
    }
}

int EncoderSlots::capacity() const
{
    const std::lock_guard lock(m_mutex);
    return m_capacity;
}

int EncoderSlots::idle() const
{
    const std::lock_guard lock(m_mutex);
    return std::max(m_capacity - m_rows - m_borrowed, 0);
}

void EncoderSlots::setOnGivenBack(std::function<void()> callback)
{
    const std::lock_guard lock(m_mutex);
    m_onGivenBack = std::move(callback);
}

void EncoderSlots::Loan::keep(int count)
{
    if (m_count > count) {
        shared().giveBack(m_count - count);
        m_count = std::max(count, 0);
    }
}
