#include "Edit/Prober.h"

#include <algorithm>
#include <exception>
#include <thread>

#include "Edit/ProbeRecord.h"

namespace Kaltor::Edit {

Prober::Known Prober::Look(Input const& input) const {
    Known found;
    Media::InputRules inputRules = rules;
    inputRules.raw = input.raw;
    if (Media::IsPipe(input.path)) {
        found.pipe = std::make_shared<Media::PipeSource>(input.path);
        found.beginning = found.pipe->NewReader();
        inputRules.openPipe = [pipe = found.pipe] { return pipe->NewReader(); };
    } else if (Media::Sequence::IsPattern(input.path)) {
        found.sequence = Media::Sequence::Find(input.path);
    }
    found.info = Media::Probe(found.sequence ? found.sequence->GetName(0) : input.path, inputRules);
    return found;
}

void Prober::Probe(std::vector<Input> const& inputs, std::function<std::string(std::size_t index)> const& describe) {
    std::vector<Input> wanted;
    std::vector<std::size_t> indices;  // in `inputs`
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (known.try_emplace(inputs[i]).second) {
            wanted.push_back(inputs[i]);
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
                infos[i] = Look(wanted[i]);
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

Json Prober::Save() const {
    Json files = Json::array();
    for (auto const& [input, file] : known) {
        if (!file.pipe && !file.sequence) {
            files.push_back({input.path, input.raw, RecordOf(file.info)});
        }
    }
    Json heard = Json::array();
    for (auto const& [path, info] : sounds) {
        heard.push_back({path, RecordOf(info)});
    }
    return {{"files", std::move(files)}, {"sounds", std::move(heard)}};
}

void Prober::Load(Json const& saved) {
    for (Json const& file : saved.at("files")) {
        known[{file.at(0), file.at(1)}].info = MediaInfoFromRecord(file.at(2));
    }
    for (Json const& sound : saved.at("sounds")) {
        sounds[sound.at(0)] = SoundInfoFromRecord(sound.at(1));
    }
}

}  // namespace Kaltor::Edit
