#include "Studio/Server.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include <fmt/format.h>
#include <httplib.h>
#include <sys/random.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Schema.h"
#include "Ogl/OglManager.h"
#include "Studio/FileAccess.h"
#include "Studio/Frames.h"
#include "Studio/PlanJson.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"
#include "Studio/Session.h"

namespace Kaltor::Studio {
namespace {

using Edit::Json;
using httplib::Request;
using httplib::Response;

constexpr char kHost[] = "127.0.0.1";
constexpr std::size_t kMostBody = std::size_t{17} << 20U;  // a document has 16 MiB at most
/// Each connection that is open has one; browsers open six for each page.
constexpr std::size_t kThreads = 40;
/// Connections that wait for one.
constexpr std::size_t kMostConnections = 128;
constexpr std::chrono::seconds kPageGone(15);

/// 128 random bits.
std::string MakeToken() {
    std::array<unsigned char, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the system gives no random numbers");
    }
    std::string token;
    for (unsigned char const byte : bytes) {
        token += fmt::format("{:02x}", byte);
    }
    return token;
}

/// Takes the same time wherever they differ.
bool IsSame(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return difference == 0;
}

/// Threads for connections; where too many wait, no more are accepted for a while.
class Connections final : public httplib::TaskQueue {
public:
    Connections() {
        for (std::size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([this] { Work(); });
        }
    }

    void enqueue(std::function<void()> connection) override {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return waiting.size() < kMostConnections || isStopped; });
        waiting.push_back(std::move(connection));
        changed.notify_all();
    }

    void shutdown() override {
        {
            std::lock_guard const lock(mutex);
            isStopped = true;
            changed.notify_all();
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    void Work() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return !waiting.empty() || isStopped; });
            if (waiting.empty()) {
                return;
            }
            std::function<void()> const connection = std::move(waiting.front());
            waiting.pop_front();
            changed.notify_all();
            lock.unlock();
            connection();
            lock.lock();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> waiting;
    bool isStopped = false;
    std::vector<std::thread> threads;
};

void SetJson(Response& response, Json const& json) {
    response.set_content(json.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

void SetError(Response& response, int status, std::string const& message, Json const& place = nullptr) {
    response.status = status;
    SetJson(response, {{"error", message}, {"place", place}});
}

void SetBytes(Response& response, std::vector<std::uint8_t> const& bytes, char const* type) {
    response.set_content(reinterpret_cast<char const*>(bytes.data()), bytes.size(), type);
}

/// A number in the address; `standard` where it is not there.
template <typename T>
T NumberOf(Request const& request, char const* name, T least, T most, std::optional<T> standard = {}) {
    if (!request.has_param(name) && standard) {
        return *standard;
    }
    std::string const text = request.get_param_value(name);
    std::optional<T> const value = Core::ParseNumber<T>(text);
    if (!value || !(*value >= least && *value <= most)) {
        throw RequestError(kBadRequest, fmt::format("{}: it takes a number from {} to {}", name, least, most));
    }
    return *value;
}

Json BodyOf(Request const& request) {
    try {
        return Edit::ParseJson(request.body, "the request");
    } catch (std::runtime_error const& error) {
        throw RequestError(kBadRequest, error.what());
    }
}

Json const& MemberOf(Json const& body, char const* key) {
    if (!body.is_object() || !body.contains(key)) {
        throw RequestError(kBadRequest, fmt::format("the request needs the key \"{}\"", key));
    }
    return body[key];
}

std::optional<std::string> OptionalText(Json const& body, char const* key) {
    if (!body.contains(key) || body[key].is_null()) {
        return std::nullopt;
    }
    if (!body[key].is_string()) {
        throw RequestError(kBadRequest, fmt::format("{}: it takes a text", key));
    }
    return body[key].get<std::string>();
}

bool IsSet(Json const& body, char const* key) {
    return body.contains(key) && body[key] == true;
}

std::vector<std::string> SplitPath(std::string const& path) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= path.size();) {
        std::size_t const end = std::min(path.find('/', begin), path.size());
        parts.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

char const* TypeOf(std::string_view name) {
    return name.ends_with(".html")  ? "text/html; charset=utf-8"
           : name.ends_with(".css") ? "text/css; charset=utf-8"
           : name.ends_with(".js")  ? "text/javascript; charset=utf-8"
           : name.ends_with(".svg") ? "image/svg+xml"
                                    : "application/octet-stream";
}

}  // namespace

class Server::Impl {
public:
    explicit Impl(Options wanted)
        : options(std::move(wanted)),
          access(options.folder, options.named, options.isTrusted),
          session(access, options.document, options.initial),
          plans(access, options.allowPlaylists, MakeSeed(), options.loadCatalog),
          token(MakeToken()) {
        http.new_task_queue = [] { return new Connections; };
        http.set_payload_max_length(kMostBody);
        http.set_keep_alive_max_count(1'000'000);
        http.set_keep_alive_timeout(1);
        http.set_tcp_nodelay(true);
        http.set_socket_options([](socket_t socket) {
            int const yes = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        http.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                                  {"Referrer-Policy", "no-referrer"},
                                  {"Cross-Origin-Resource-Policy", "same-origin"},
                                  {"Cross-Origin-Opener-Policy", "same-origin"},
                                  {"X-Frame-Options", "DENY"},
                                  {"Content-Security-Policy",
                                   "default-src 'self'; img-src 'self' blob: data:; media-src 'self' blob:; "
                                   "connect-src 'self'; object-src 'none'; base-uri 'none'; form-action 'none'; "
                                   "frame-ancestors 'none'"}});
        http.set_pre_routing_handler([this](Request const& request, Response& response) {
            return IsAllowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                : httplib::Server::HandlerResponse::Handled;
        });
        http.Get(".*", [this](Request const& request, Response& response) { Answer(request, response); });
        http.Post(".*", [this](Request const& request, Response& response) { Answer(request, response); });
        if (options.port == 0) {
            port = http.bind_to_any_port(kHost);
        } else if (http.bind_to_port(kHost, options.port)) {
            port = options.port;
        }
        if (port <= 0) {
            throw std::runtime_error(options.port == 0
                                         ? std::string("no port is free")
                                         : fmt::format("the port {} is not free; --port names another", options.port));
        }
    }

    ~Impl() { Stop(); }

    std::string GetAddress() const { return fmt::format("http://{}:{}/{}/", kHost, port, token); }

    void Run(std::atomic<bool> const& cancel) {
        constexpr std::chrono::milliseconds kPoll(100);
        std::thread listener([this] { http.listen_after_bind(); });
        while (!http.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));  // what does not run cannot be stopped
        }
        {
            std::unique_lock lock(mutex);
            while (!isEnding && !cancel) {
                ended.wait_for(lock, kPoll);
                bool const isGone = lastAlive && std::chrono::steady_clock::now() - *lastAlive > kPageGone;
                if (options.exitsWithPage && isGone) {
                    break;
                }
            }
        }
        Stop();
        listener.join();
    }

private:
    static std::uint32_t MakeSeed() {
        return static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count()) % 1'000'000;
    }

    void Stop() {
        frames.Stop();
        http.stop();
    }

    /// Whether a request comes from one of the studio's own pages.
    bool IsAllowed(Request const& request, Response& response) const {
        auto const refuse = [&response](int status) {
            response.status = status;
            response.set_header("Connection", "close");
            return false;
        };
        std::string const prefix = "/" + token + "/";
        if (!IsSame(std::string_view(request.path).substr(0, prefix.size()), prefix)) {
            return refuse(kNotFound);
        }
        std::string const numbers = fmt::format("{}:{}", kHost, port);
        std::string const name = fmt::format("localhost:{}", port);
        std::string const host = request.get_header_value("Host");
        if (request.get_header_value_count("Host") != 1 || (host != numbers && host != name)) {
            return refuse(kForbidden);
        }
        if (request.has_header("Origin")) {
            std::string const origin = request.get_header_value("Origin");
            if (request.get_header_value_count("Origin") != 1 || origin != "http://" + host) {
                return refuse(kForbidden);
            }
        }
        if (request.has_header("Sec-Fetch-Site")) {
            std::string const site = request.get_header_value("Sec-Fetch-Site");
            if (site != "same-origin" && site != "none") {
                return refuse(kForbidden);
            }
        }
        if (request.method != "GET" && request.method != "HEAD" && request.method != "POST") {
            return refuse(kBadRequest);
        }
        if (request.method == "POST") {
            std::string const type = request.get_header_value("Content-Type");
            if (type.substr(0, type.find(';')) != "application/json") {
                return refuse(kWrongType);
            }
        }
        return true;
    }

    void Answer(Request const& request, Response& response) {
        response.status = 200;
        response.set_header("Cache-Control", "no-store");
        try {
            Route(request, response);
        } catch (RequestError const& error) {
            SetError(response, error.GetStatus(), error.what());
        } catch (DocumentError const& error) {
            SetError(response, kUnprocessable, error.what(),
                     error.GetPlace().empty() ? Json(nullptr) : Json(error.GetPlace()));
        } catch (std::invalid_argument const& error) {
            SetError(response, kUnprocessable, Core::Describe(error));
        } catch (Media::MediaError const& error) {
            SetError(response, kUnprocessable, Core::Describe(error));
        } catch (std::bad_alloc const&) {
            SetError(response, kInternal, "there is not enough memory");
        } catch (std::exception const& error) {
            SetError(response, kInternal, Core::Describe(error));
        }
    }

    void Route(Request const& request, Response& response) {
        std::vector<std::string> const parts = SplitPath(request.path.substr(token.size() + 2));
        bool const isPost = request.method == "POST";
        if (parts.front() != "api") {
            return isPost ? throw RequestError(kNotFound, "there is no such request") : SendPage(parts, response);
        }
        std::string const what = parts.size() > 1 ? parts[1] : "";
        std::size_t const count = parts.size();
        if (isPost && count == 2) {
            if (what == "plan") {
                std::shared_ptr<PlannedDocument const> const planned = plans.Make(BodyOf(request));
                return SetJson(response, DescribePlan(*planned, access));
            }
            if (what == "save") {
                return Save(BodyOf(request), response);
            }
            if (what == "autosave") {
                return Autosave(BodyOf(request), response);
            }
            if (what == "command") {
                return WriteCommand(BodyOf(request), response);
            }
            if (what == "quit") {
                response.status = 204;
                return End();
            }
        } else if (!isPost && count == 2) {
            if (what == "session") {
                return DescribeSession(response);
            }
            if (what == "catalogue") {
                return SetJson(response, DescribeCatalogue());
            }
            if (what == "schema") {
                return SetJson(response, Edit::MakeSchema());
            }
            if (what == "files") {
                return SetJson(response, access.List(request.get_param_value("folder")));
            }
            if (what == "alive") {
                std::lock_guard const lock(mutex);
                lastAlive = std::chrono::steady_clock::now();
                response.status = 204;
                return;
            }
        } else if (!isPost && count == 5 && what == "plan" && parts[3] == "frame") {
            return SendFrame(request, parts[2], parts[4], response);
        }
        throw RequestError(kNotFound, "there is no such request");
    }

    void SendPage(std::vector<std::string> const& parts, Response& response) const {
        std::string const name = parts.front().empty() ? "index.html" : parts.front();
        auto const found = std::find_if(options.page.begin(), options.page.end(),
                                        [&](PageFile const& file) { return file.name == name; });
        if (parts.size() != 1 || found == options.page.end()) {
            throw RequestError(kNotFound, "there is no such file");
        }
        response.set_content(found->content.data(), found->content.size(), TypeOf(name));
    }

    std::shared_ptr<PlannedDocument const> FindPlan(std::string const& id) {
        std::shared_ptr<PlannedDocument const> planned = plans.Find(id);
        if (!planned) {
            throw RequestError(kNotFound, "this plan is forgotten: send its document again");
        }
        return planned;
    }

    void SendFrame(Request const& request, std::string const& plan, std::string const& number, Response& response) {
        constexpr std::uint32_t kWidest = 8192;
        constexpr std::uint32_t kUsual = 640;
        Frames::Request wanted;
        wanted.plan = FindPlan(plan);
        std::optional<std::int64_t> const frame = Core::ParseNumber<std::int64_t>(number);
        if (!frame || *frame < 0 || *frame >= wanted.plan->plan.frames) {
            throw RequestError(kNotFound, fmt::format("there is no frame {}", number));
        }
        wanted.number = *frame;
        wanted.width = NumberOf<std::uint32_t>(request, "width", 0, kWidest, kUsual);
        wanted.width = std::min(wanted.width, wanted.plan->plan.target.frame.width);
        wanted.view = request.get_param_value("view").substr(0, 64);
        wanted.sequence = NumberOf<std::int64_t>(request, "seq", 0, std::int64_t{1} << 53U, 0);
        Bytes const bytes = frames.Get(wanted);
        response.set_header("Cache-Control", "private, max-age=86400, immutable");
        SetBytes(response, *bytes, wanted.width == 0 ? "image/png" : "image/jpeg");
    }

    void DescribeSession(Response& response) const {
        Json json = session.Describe();
        Ogl::GlInfo const& gl = Ogl::OglManager::GetInstance().GetInfo();
        json["version"] = options.version;
        json["renderer"] = gl.renderer;
        json["software"] = gl.isSoftware;
        json["folder"] = access.GetFolder().string();
        json["trusted"] = options.isTrusted;
        Json profiles = Json::array();
        for (Media::Profile const& profile : Media::GetProfiles()) {
            profiles.push_back({{"name", profile.name}, {"help", profile.help}, {"endings", profile.endings}});
        }
        Json codecs = Json::object();
        for (std::string const ending : {"mp4", "mov", "mkv", "webm"}) {
            codecs[ending] = Media::ListVideoEncoders("x." + ending);
        }
        json["outputs"] = {{"profiles", profiles}, {"codecs", codecs}};
        json["previewWidth"] = 640;
        SetJson(response, json);
    }

    Json DescribeCatalogue() {
        return plans.WithCatalog([this](Host::Catalog const& catalog) {
            Json all = Json::array();
            for (Host::CatalogEntry const& entry : catalog.GetEntries()) {
                if (entry.kind != Host::Kind::Service) {
                    all.push_back(options.describeEntry(entry));
                }
            }
            return all;
        });
    }

    void Save(Json const& body, Response& response) {
        Edit::Document const document = plans.Read(MemberOf(body, "document"));
        SetJson(response, session.Save(document, OptionalText(body, "path"), OptionalText(body, "revision"),
                                       IsSet(body, "overwrite")));
    }

    void Autosave(Json const& body, Response& response) {
        Json const& document = MemberOf(body, "document");
        document.is_null() ? session.DiscardAutosave() : session.Autosave(document);
        response.status = 204;
    }

    void WriteCommand(Json const& body, Response& response) {
        Edit::Document const document = plans.Read(MemberOf(body, "document"));
        std::optional<std::string> const command =
            options.writeCommand ? options.writeCommand(document) : std::nullopt;
        SetJson(response, {{"json", Edit::FormatDocument(document, access.GetFolder().string())},
                           {"command", command ? Json(*command) : Json(nullptr)}});
    }

    void End() {
        std::lock_guard const lock(mutex);
        isEnding = true;
        ended.notify_all();
    }

    Options options;
    FileAccess access;
    Session session;
    Plans plans;
    Frames frames;
    std::string token;
    httplib::Server http;
    int port = 0;

    std::mutex mutex;
    std::condition_variable ended;
    bool isEnding = false;
    std::optional<std::chrono::steady_clock::time_point> lastAlive;
};

Server::Server(Options options) : impl(std::make_unique<Impl>(std::move(options))) {}
Server::~Server() = default;

std::string Server::GetAddress() const {
    return impl->GetAddress();
}

void Server::Run(std::atomic<bool> const& cancel) {
    impl->Run(cancel);
}

}  // namespace Kaltor::Studio
