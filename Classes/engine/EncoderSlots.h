#pragma once
// The process-wide budget of LAME encoders that may run at once: the
// preference "numProcesses". A run holds one slot for every row it runs; an
// MP3 encode that splits one long source over several LAME instances
// borrows the slots no row holds, one per extra instance, and gives them
// back when it is done. The run starts no row while every slot is held,
// whether by rows or borrowed, so the total of running encoders never passes
// the budget.
//
// Before any run has set a capacity, nothing is idle: an encode outside a
// run (a test, a tool) never splits.
//
// Threads: every member may be called from any thread; one mutex guards the
// counts. The callback set with setOnGivenBack() runs on the thread that
// gives slots back, outside the lock.

#include <functional>
#include <mutex>

class EncoderSlots
{
public:
    static EncoderSlots& shared();

    // As a run starts: capacity slots in all, none held by rows. Slots still
    // borrowed stay borrowed until given back.
    void startRun(int capacity);
    // One slot for a row; false when every slot is held or borrowed.
    bool takeForRow();
    void giveBackRow();
    // Up to most slots that no row holds and no one borrowed, taken at once;
    // how many were taken (0 when none is idle).
    int borrowIdle(int most);
    // Gives back count borrowed slots, then tells the callback.
    void giveBack(int count);

    int capacity() const;
    int idle() const;

    // Told after borrowed slots came back, so that rows that waited for them
    // can start. Empty by default.
    void setOnGivenBack(std::function<void()> callback);

    // Slots borrowed from shared() by one encode, given back at the latest
    // when the loan goes. One thread.
    class Loan
    {
    public:
        Loan() = default;
        ~Loan() { giveBack(); }
        Loan(const Loan&) = delete;
        Loan& operator=(const Loan&) = delete;

        // Borrows up to most more idle slots.
        void borrow(int most) { m_count += shared().borrowIdle(most); }
        // Gives back all but count of them.
        void keep(int count);
        void giveBack() { keep(0); }
        int count() const { return m_count; }

    private:
        int m_count = 0;
    };

private:
    mutable std::mutex m_mutex;
    int m_capacity = 0;
    int m_rows = 0;
    int m_borrowed = 0;
    std::function<void()> m_onGivenBack;
};
