#include "Edit/Prober.h"

#include <algorithm>
#include <exception>
#include <thread>

namespace Kaltor::Edit {

void Prober::Probe(std::vector<std::string> const& paths,
                   std::function<std::string(std::size_t index)> const& describe) {
    std::vector<std::string> wanted;
    std::vector<std::size_t> indices;  // in `paths`
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (known.try_emplace(paths[i]).second) {
            wanted.push_back(paths[i]);
            indices.push_back(i);
        }
    }
    // Waiting for files takes longer than looking at them, on network file systems above all.
    constexpr std::size_t kMostThreads = 8;
    constexpr std::size_t kFilesForEach = 4;
    std::size_t const count = std::min(kMostThreads, (wanted.size() + kFilesForEach - 1) / kFilesForEach);
    std::vector<std::exception_ptr> errors(wanted.size());
    std::vector<Known> infos(wanted.size());
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> hasFailed = false;
    auto const work = [&] {
        for (std::size_t i = next++; i < wanted.size() && !hasFailed; i = next++) {
            try {
                if (Media::Sequence::IsPattern(wanted[i])) {
                    infos[i].sequence = Media::Sequence::Find(wanted[i]);
                }
                infos[i].info = Media::Probe(infos[i].sequence ? infos[i].sequence->GetName(0) : wanted[i], rules);
            } catch (...) {
                errors[i] = std::current_exception();
                hasFailed = true;
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 1; i < count; ++i) {
            threads.emplace_back(work);
        }
        work();
    }
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (errors[i]) {
            AtPlace(describe(indices[i]), [&] { std::rethrow_exception(errors[i]); });
        }
        known[wanted[i]] = std::move(infos[i]);
    }
}

Media::SoundInfo const& Prober::GetSound(std::string const& path) {
    auto found = sounds.find(path);
    if (found == sounds.end()) {
        found = sounds.emplace(path, Media::ProbeSound(path, rules)).first;
    }
    return found->second;
}

}  // namespace Kaltor::Edit
