#include "Render/Isolation/MakeApart.h"

#include <algorithm>

#include "Ogl/OglManager.h"
#include "Render/Isolation/Worker.h"
#include "Render/Pipeline.h"

namespace Kaltor::Render {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Messages of the worker.
constexpr std::uint32_t kGlStarted = 0;
constexpr std::uint32_t kContent = 1;
constexpr std::uint32_t kWhole = 2;

Bytes MakeOnce(Isolation const& isolation, std::function<Bytes()> const& make, bool onSoftware) {
    Worker worker([&](WorkerSide& side) {
        if (onSoftware) {
            Ogl::OglManager::WantSoftware();
        }
        Ogl::OglManager::GetInstance();
        Channel& channel = side.GetChannel();
        channel.Send(kGlStarted, nullptr, 0);
        Bytes content;
        Pipeline pipeline;
        pipeline.Start([&] { content = make(); });
        pipeline.Run({[](std::int64_t) {}, [](std::string const&) {},
                      [&side] {
                          side.Beat();
                          return false;
                      }});
        for (std::size_t done = 0; done < content.size(); done += Channel::kLongest) {
            channel.Send(kContent, content.data() + done, std::min(content.size() - done, Channel::kLongest));
        }
        channel.Send(kWhole, nullptr, 0);
    });
    auto const never = [] { return false; };
    worker.Receive(std::max(isolation.limit, Worker::kLongestStart), never);
    Bytes all;
    while (true) {
        Message const message = worker.Receive(isolation.limit, never);
        if (message.kind == kWhole) {
            return all;
        }
        all.insert(all.end(), message.content.begin(), message.content.end());
    }
}

}  // namespace

Bytes MakeApart(Isolation const& isolation, std::function<Bytes()> const& make, Media::WarningFn const& warn) {
    try {
        return MakeOnce(isolation, make, false);
    } catch (WorkerDied const& death) {
        if (!isolation.retries) {
            throw;
        }
        warn(std::string(death.what()) + "; software GL draws it");
    }
    return MakeOnce(isolation, make, true);
}

}  // namespace Kaltor::Render
