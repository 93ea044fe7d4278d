// CopyWatch.h - what the library's log tells about copies of a clip, in plain words.
#pragma once

#include "frame/Types.h"

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::tool {

// A copy that could not be opened while the other one could.
struct LostCopy {
    int number; // 1 or 2
    std::string name;
    bool timedOut; // its disk did not answer
};

// Gets all lines of the log. Any thread may call everything.
class CopyWatch {
public:
    // `tell` gets one sentence for each copy that is given up or back; it may be null.
    explicit CopyWatch(std::function<void(const std::string&)> tell);

    void Take(INFOTYPE level, std::string_view text);

    // Whether a line since the last call told that a read may have failed. A read that tells nothing else
    // than its count is to be made again then.
    bool TakeTrouble();

    // The copies that were lost since the last call.
    std::vector<LostCopy> TakeLost();

private:
    struct Copies {
        bool givenUp[2] = {false, false};
    };

    bool TakeTimeOut(Copies& copies, std::string_view text);
    bool TakeReopening(Copies& copies, std::string_view text);
    bool TakeChange(Copies& copies, std::string_view text);
    bool TakeOpening(std::string_view text);
    void Lose(int number, std::string_view name);
    void Tell(const std::string& sentence) const;

    const std::function<void(const std::string&)> m_fnTell;
    std::mutex m_Mutex;
    // Guarded by m_Mutex.
    std::map<std::string, Copies, std::less<>> m_Sources; // by the address that their lines name
    std::set<std::string, std::less<>> m_TimedOut;        // names whose open took too long
    std::vector<LostCopy> m_Lost;
    bool m_bTrouble = false;
};

} // namespace vxcio::tool
