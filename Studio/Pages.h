#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace Kaltor::Studio {

/// The pages that are open, by what they say of themselves every few seconds. Not thread-safe.
class OpenPages {
public:
    using Clock = std::chrono::steady_clock;

    /// A page whose window is hidden is allowed to say so once a minute only, by some browsers.
    static constexpr std::chrono::seconds kSilence{150};
    /// Time for a page that is loaded again.
    static constexpr std::chrono::seconds kPatience{15};

    /// The page is there. Where there are very many, one is forgotten.
    void NoteOpen(std::string const& page, Clock::time_point now) {
        constexpr std::size_t kMost = 1000;
        pages[page] = now;
        if (pages.size() > kMost) {
            pages.erase(pages.begin());
        }
        lastSeen = now;
    }

    void NoteClosed(std::string const& page, Clock::time_point now) {
        if (pages.erase(page) > 0) {
            lastSeen = now;
        }
    }

    bool IsOpen(std::string const& page, Clock::time_point now) const {
        auto const found = pages.find(page);
        return found != pages.end() && now - found->second <= kSilence;
    }

    /// Whether there was a page, and there has been none for a while.
    bool AreGone(Clock::time_point now) {
        std::erase_if(pages, [now](auto const& page) { return now - page.second > kSilence; });
        return lastSeen != Clock::time_point() && pages.empty() && now - lastSeen > kPatience;
    }

private:
    std::map<std::string, Clock::time_point> pages;
    Clock::time_point lastSeen;
};

}  // namespace Kaltor::Studio
