// A site on which media are requested.  The test is the operator: it acts whenever somebody waits.
#pragma once

#include "tests/backup/drive_site.h"

#include <chrono>
#include <cstring>
#include <ctime>
#include <functional>
#include <thread>

// The result, then the message; worm, if not null, receives the flag.
inline std::string request_volume(const std::string &label, const std::string &drive, char mode,
                                  const TraceContext &trace, int32_t *worm = nullptr)
{
    char message[TAMBA_VOLUME_MSG_SIZE + 8]; // watched behind its end
    std::memset(message, '#', sizeof message);
    const int32_t result = i_GET_VOLUME(label.c_str(), drive.c_str(), mode, message, worm, trace);
    EXPECT_EQ(std::string(message + TAMBA_VOLUME_MSG_SIZE, 8), "########");
    return std::to_string(result) + " " + message;
}

// Waits for another process.
inline bool until(const std::function<bool()> &condition)
{
    for (int i = 0; i < 3000 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return condition();
}

class VolumeSite : public DriveSite {
protected:
    void SetUp() override
    {
        DriveSite::SetUp();
        gcInterrupt = 'n';
        pauses = 0;
        elapsed_ms = 0;
        operator_acts = nullptr;
        pl_set_clock_hooks({[] { return PlTime{start + elapsed_ms / 1000, 0}; }, pause});
    }

    // Whatever became of the request, its semaphore is free again.
    std::string ask_volume(const std::string &label, const std::string &drive, char mode = 'b') const
    {
        const std::string answer = request_volume(label, drive, mode, trace);
        EXPECT_FALSE(is_locked("getvol_" + std::to_string(std::atoi(drive.c_str()))));
        return answer;
    }
    size_t called(std::string_view what) const { return count_of(calls(site), what); }

    // The operator puts one medium after the other into drive 4, each when the one before has been thrown out.
    void bring(const Lines &media) const
    {
        operator_acts = [this, media, next = size_t{0}]() mutable {
            if (medium(4).empty() && next < media.size())
                insert(4, media[next++]);
        };
    }

    static inline int pauses = 0;
    static inline std::function<void()> operator_acts; // at each pause of the request

private:
    static void pause(uint32_t milliseconds)
    {
        elapsed_ms += milliseconds;
        if (++pauses > 300)
            gcInterrupt = 'y'; // nobody comes
        if (operator_acts)
            operator_acts();
    }

    static inline const int64_t start = std::time(nullptr);
    static inline int64_t elapsed_ms = 0;
};
