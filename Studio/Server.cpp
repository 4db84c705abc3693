#include "Studio/Server.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Schema.h"
#include "Ogl/OglManager.h"
#include "Studio/Exports.h"
#include "Studio/FileAccess.h"
#include "Studio/Frames.h"
#include "Studio/Pages.h"
#include "Studio/PlanJson.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"
#include "Studio/Session.h"
#include "Studio/Shaders.h"
#include "Studio/Sounds.h"
#include "Studio/Sources.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;
using Edit::Json;
using httplib::Request;
using httplib::Response;

constexpr char kHost[] = "127.0.0.1";
constexpr std::size_t kMostBody = std::size_t{17} << 20U;  // a document has 16 MiB at most
/// Each connection that is open has one; browsers open six for each page.
constexpr std::size_t kThreads = 40;
/// Connections that wait for one.
constexpr std::size_t kMostConnections = 128;
constexpr std::chrono::seconds kLongestBody(60);
constexpr double kLongestTime = 1e6;    // seconds
constexpr std::size_t kLongestId = 64;  // by which a page names itself
constexpr std::size_t kMostCardBytes = std::size_t{32} << 20U;

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

bool IsSocketAt(int descriptor, int port) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
           address.sin_family == AF_INET && ntohs(address.sin_port) == port;
}

/// The descriptors of this process's sockets at a port of its own.
std::vector<int> SocketsAt(int port) {
    constexpr int kMostTried = 65'536;
    std::vector<int> sockets;
    auto const add = [&](int descriptor) {
        if (IsSocketAt(descriptor, port)) {
            sockets.push_back(descriptor);
        }
    };
    std::error_code error;
    fs::directory_iterator entry("/proc/self/fd", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        add(std::atoi(entry->path().filename().c_str()));
    }
    if (error) {  // a list takes a descriptor itself: where all are in use, each is tried
        sockets.clear();
        for (int descriptor = 0; descriptor < std::min(::getdtablesize(), kMostTried); ++descriptor) {
            add(descriptor);
        }
    }
    return sockets;
}

/// Another one for each socket; 0 where there is none. Read without the descriptor, which other threads may be closing.
ino_t GetSocketNumber(int descriptor) {
    std::error_code error;
    std::string const name = fs::read_symlink(fmt::format("/proc/self/fd/{}", descriptor), error).string();
    constexpr std::string_view kBegin = "socket:[";
    return name.starts_with(kBegin) ? std::strtoull(name.c_str() + kBegin.size(), nullptr, 10) : 0;
}

/// A socket that stays open, beside the library's own descriptor, until both are closed.
class SocketCopy {
public:
    explicit SocketCopy(int socket) : descriptor(::fcntl(socket, F_DUPFD_CLOEXEC, 0)) {}
    ~SocketCopy() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
    SocketCopy(SocketCopy const&) = delete;
    SocketCopy& operator=(SocketCopy const&) = delete;

    bool IsOpen() const { return descriptor >= 0; }
    void End() const { ::shutdown(descriptor, SHUT_RDWR); }

private:
    int descriptor;
};

/// Ends connections whose requests take too long to arrive. The library's own limit begins anew with each byte.
class RequestLimits {
public:
    using Limit = std::optional<std::chrono::milliseconds>;

    /// The calling thread serves a connection from now on.
    void Begin(std::shared_ptr<SocketCopy> socket, Limit limit) {
        std::lock_guard const lock(mutex);
        reading[std::this_thread::get_id()] = {std::move(socket), EndOf(limit)};
    }
    /// What the calling thread waits for now has this limit.
    void Set(Limit limit) {
        std::lock_guard const lock(mutex);
        if (auto const found = reading.find(std::this_thread::get_id()); found != reading.end()) {
            found->second.end = EndOf(limit);
        }
    }
    void End() {
        std::lock_guard const lock(mutex);
        reading.erase(std::this_thread::get_id());
    }
    void EndLateOnes() {
        std::lock_guard const lock(mutex);
        for (auto const& [thread, connection] : reading) {
            if (connection.socket && Clock::now() > connection.end) {
                connection.socket->End();
            }
        }
    }

private:
    using Clock = std::chrono::steady_clock;
    struct Connection {
        std::shared_ptr<SocketCopy> socket;
        Clock::time_point end;
    };

    static Clock::time_point EndOf(Limit limit) { return limit ? Clock::now() + *limit : Clock::time_point::max(); }

    std::mutex mutex;
    std::map<std::thread::id, Connection> reading;
};

/// Threads for connections; where too many wait, no more are accepted for a while.
class Connections final : public httplib::TaskQueue {
public:
    Connections(int ownPort, RequestLimits& requestLimits, std::chrono::milliseconds head)
        : port(ownPort), limits(requestLimits), longestHead(head) {
        FindNewSockets();  // the one that listens
        for (std::size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([this] { Work(); });
        }
    }

    void enqueue(std::function<void()> serve) override {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return waiting.size() < kMostConnections || isStopped; });
        waiting.push_back(MakeConnection(std::move(serve)));
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
    struct Connection {
        std::function<void()> serve;
        ino_t number = 0;
        std::shared_ptr<SocketCopy> socket = nullptr;
    };

    /// Those that were not there before.
    std::vector<int> FindNewSockets() {
        std::vector<int> found;
        for (int const socket : SocketsAt(port)) {
            ino_t const number = GetSocketNumber(socket);
            // Since it was listed, a thread may have closed it and opened a file, which has its number now.
            if (IsSocketAt(socket, port) && known.insert(number).second) {
                found.push_back(socket);
            }
        }
        return found;
    }

    /// The library does not say whose connection it hands over: it is the one that was not there before. One that could
    /// not be ended later, because no descriptor is free, is ended at once, and so are several of which nobody can tell
    /// whose they are.
    Connection MakeConnection(std::function<void()> serve) {
        Connection connection{std::move(serve)};
        std::vector<int> const found = FindNewSockets();
        if (found.size() == 1) {
            connection.number = GetSocketNumber(found.front());
            connection.socket = std::make_shared<SocketCopy>(found.front());
        }
        if (!connection.socket || !connection.socket->IsOpen()) {
            connection.socket = nullptr;
            for (int const socket : found) {
                ::shutdown(socket, SHUT_RDWR);
            }
        }
        return connection;
    }

    void Work() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return !waiting.empty() || isStopped; });
            if (waiting.empty()) {
                return;
            }
            Connection connection = std::move(waiting.front());
            waiting.pop_front();
            changed.notify_all();
            lock.unlock();
            limits.Begin(connection.socket, longestHead);
            connection.serve();
            limits.End();
            lock.lock();
            known.erase(connection.number);
        }
    }

    int port;
    RequestLimits& limits;
    std::chrono::milliseconds longestHead;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Connection> waiting;
    std::set<ino_t> known;  ///< sockets that are served, that wait, or that listen
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

std::string MemberText(Json const& body, char const* key) {
    MemberOf(body, key);
    return OptionalText(body, key).value_or("");
}

/// The page that asks, as it names itself.
std::string PageOf(Json const& body) {
    return OptionalText(body, "page").value_or("").substr(0, kLongestId);
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

/// Ends all connections of this process to a port of its own: whoever sends a byte now and then keeps one for hours.
void EndConnections(int port) {
    for (int const socket : SocketsAt(port)) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace

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

std::string FormatAddress(std::uint16_t port, std::string const& token) {
    return fmt::format("http://{}:{}/{}/", kHost, port, token);
}

class Server::Impl {
public:
    explicit Impl(Options wanted)
        : options(std::move(wanted)),
          access(options.folder, options.named, options.isTrusted),
          session(access, options.document, options.initial),
          plans(access, options.allowPlaylists, MakeSeed(), options.loadCatalog),
          frames(options.allowPlaylists),
          sounds(options.allowPlaylists),
          sources(access, options.allowPlaylists),
          exports(access, options.allowPlaylists),
          cards(kMostCardBytes),
          token(options.token.empty() ? MakeToken() : options.token) {
        http.new_task_queue = [this] { return new Connections(port, limits, options.longestHead); };
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
            limits.Set(kLongestBody);
            return IsAllowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                : httplib::Server::HandlerResponse::Handled;
        });
        // It comes when an answer has been sent: the next request of the connection begins.
        http.set_logger([this](Request const&, Response const&) { limits.Set(options.longestHead); });
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
        for (int const socket : SocketsAt(port)) {
            ::listen(socket, kMostConnections);  // the library lets five wait; others would try again after a second
        }
    }

    ~Impl() { Stop(); }

    std::string GetAddress() const { return FormatAddress(GetPort(), token); }
    std::uint16_t GetPort() const { return static_cast<std::uint16_t>(port); }

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
                limits.EndLateOnes();
                OpenPages const now = pages;
                lock.unlock();  // the session may wait for a disk
                session.Release([&now](std::string const& page) { return now.IsOpen(page, OpenPages::Clock::now()); });
                lock.lock();
                if (options.exitsWithPage && pages.AreGone(OpenPages::Clock::now()) && !exports.AreAnyRunning()) {
                    break;
                }
            }
        }
        Stop();
        std::atomic<bool> isOver{false};
        std::thread closer([&] {
            constexpr int kGrace = 5;  // what is being answered gets its end
            for (int round = 0; !isOver; ++round) {
                if (round >= kGrace) {
                    EndConnections(port);
                }
                std::this_thread::sleep_for(kPoll);
            }
        });
        listener.join();
        isOver = true;
        closer.join();
    }

private:
    static std::uint32_t MakeSeed() {
        return static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count()) % 1'000'000;
    }

    void Stop() {
        frames.Stop();
        sounds.Stop();
        sources.Stop();
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
        if (request.ranges.size() > 1) {
            return refuse(kBadRequest);  // each would be one more copy of the answer
        }
        if (request.method != "GET" && request.method != "HEAD" && request.method != "POST") {
            return refuse(kBadRequest);
        }
        if (request.method == "POST") {
            std::string const type = request.get_header_value("Content-Type");
            if (type.substr(0, type.find(';')) != "application/json") {
                return refuse(kWrongType);
            }
            // The library's limit of a body's size does not hold for what a packed one unpacks to, nor for one that
            // comes in chunks.
            if (request.has_header("Content-Encoding")) {
                return refuse(kWrongType);
            }
            if (request.has_header("Transfer-Encoding")) {
                return refuse(kLengthRequired);
            }
        }
        return true;
    }

    void Answer(Request const& request, Response& response) {
        limits.Set({});
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
            if (what == "export") {
                return Export(BodyOf(request), response);
            }
            if (what == "shader") {
                Json const body = BodyOf(request);
                std::string const name = OptionalText(body, "name").value_or("shader.glsl");
                return SetJson(response,
                               CheckShader(name, OptionalText(body, "source").value_or(""), options.describeEntry));
            }
            if (what == "quit") {
                response.status = 204;
                return End();
            }
        } else if (!isPost && count == 2) {
            if (what == "session") {
                return DescribeSession(request, response);
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
            if (what == "probe") {
                return SetJson(response, sources.Probe(request.get_param_value("file")));
            }
            if (what == "thumbnail") {
                return SendThumbnail(request, response);
            }
            if (what == "waveform") {
                constexpr std::size_t kMostPoints = 20'000;
                return SetJson(response,
                               sources.MakeWaveform(request.get_param_value("file"),
                                                    NumberOf<std::size_t>(request, "points", 1, kMostPoints),
                                                    NumberOf<double>(request, "from", 0.0, kLongestTime, 0.0),
                                                    NumberOf<double>(request, "to", -1.0, kLongestTime, -1.0)));
            }
            if (what == "shader") {
                return SetJson(response, ReadShader(access, request.get_param_value("path")));
            }
            if (what == "alive") {
                return NotePage(request, response);
            }
        } else if (!isPost && count == 5 && what == "plan" && parts[3] == "frame") {
            return SendFrame(request, parts[2], parts[4], response);
        } else if (!isPost && count == 4 && what == "plan" && parts[3] == "sound") {
            std::vector<std::uint8_t> const wav =
                sounds.Get(*FindPlan(parts[2]), NumberOf<double>(request, "from", 0.0, kLongestTime),
                           NumberOf<double>(request, "to", 0.0, kLongestTime));
            response.set_header("Cache-Control", "private, max-age=86400, immutable");
            return SetBytes(response, wav, "audio/wav");
        } else if (!isPost && count == 3 && what == "card") {
            return SendCard(parts[2], response);
        } else if (!isPost && count == 3 && what == "export") {
            return SetJson(response, exports.Describe(parts[2]));
        } else if (isPost && count == 4 && what == "export" && parts[3] == "cancel") {
            exports.Cancel(parts[2]);
            response.status = 204;
            return;
        } else if (isPost && count == 3 && what == "shader" && parts[2] == "save") {
            Json const body = BodyOf(request);
            return SetJson(response, SaveShader(access, MemberText(body, "path"), MemberText(body, "source"),
                                                OptionalText(body, "revision").value_or(""), IsSet(body, "overwrite")));
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
        wanted.view = request.get_param_value("view").substr(0, kLongestId);
        wanted.sequence = NumberOf<std::int64_t>(request, "seq", 0, std::int64_t{1} << 53U, 0);
        Bytes const bytes = frames.Get(wanted);
        response.set_header("Cache-Control", "private, max-age=86400, immutable");
        SetBytes(response, *bytes, wanted.width == 0 ? "image/png" : "image/jpeg");
    }

    void SendThumbnail(Request const& request, Response& response) {
        constexpr std::uint32_t kHighest = 1080;
        constexpr std::uint32_t kUsual = 72;
        frames.WaitUntilIdle();
        Bytes const bytes = sources.MakeThumbnail(request.get_param_value("file"),
                                                  NumberOf<double>(request, "time", 0.0, kLongestTime, 0.0),
                                                  NumberOf<std::uint32_t>(request, "height", 8, kHighest, kUsual));
        SetBytes(response, *bytes, "image/jpeg");
    }

    void SendCard(std::string const& name, Response& response) {
        std::lock_guard const lock(cardMutex);
        Bytes bytes = cards.Find(name);
        if (!bytes) {
            auto const [entry, factory] = plans.WithCatalog([&name](Host::Catalog const& catalog) {
                std::vector<Host::CatalogEntry> const& entries = catalog.GetEntries();
                auto const found = std::find_if(entries.begin(), entries.end(), [&name](auto const& one) {
                    return one.name == name && one.kind != Host::Kind::Service;
                });
                if (found == entries.end()) {
                    throw RequestError(kNotFound, fmt::format("there is no effect or transition {}", name));
                }
                return std::pair(*found, catalog.GetFactory());
            });
            bytes = std::make_shared<std::vector<std::uint8_t> const>(
                options.drawCard(entry, *factory, [this] { frames.WaitUntilIdle(); }));
            cards.Add(name, bytes);
        }
        response.set_header("Cache-Control", "private, max-age=86400, immutable");
        SetBytes(response, *bytes, "image/jpeg");
    }

    void Export(Json const& body, Response& response) {
        Json document = MemberOf(body, "document");
        if (body.contains("options") && document.is_object()) {
            Json output = document.contains("output") ? document["output"] : Json::object();
            if (!output.is_object() || !body["options"].is_object()) {
                throw RequestError(kBadRequest,
                                   fmt::format("\"{}\" is not an object", output.is_object() ? "options" : "output"));
            }
            output.update(body["options"]);
            document["output"] = std::move(output);
        }
        std::string const output = MemberText(body, "output");
        SetJson(response, {{"job", exports.Start(plans.Make(document), output, IsSet(body, "overwrite"))}});
    }

    void DescribeSession(Request const& request, Response& response) const {
        Json json =
            session.Describe(request.has_param("path") ? std::optional(request.get_param_value("path")) : std::nullopt);
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
        json["card"] = {{"frames", kCardFrames}, {"width", kCardWidth}, {"height", kCardHeight}};
        SetJson(response, json);
    }

    Json DescribeCatalogue() {
        Json all = Json::array();
        plans.WithCatalog([&](Host::Catalog const& catalog) {
            for (Host::CatalogEntry const& entry : catalog.GetEntries()) {
                if (entry.kind != Host::Kind::Service) {
                    all.push_back(options.describeEntry(entry));
                }
            }
        });
        for (Host::CatalogEntry const& entry : ListShaders(access)) {
            all.push_back(options.describeEntry(entry));
        }
        return all;
    }

    void Save(Json const& body, Response& response) {
        Edit::Document const document = plans.Read(MemberOf(body, "document"));
        SetJson(response,
                session.Save(document, OptionalText(body, "path"), OptionalText(body, "revision"),
                             OptionalText(body, "copy").value_or(""), PageOf(body), IsSet(body, "overwrite")));
    }

    void Autosave(Json const& body, Response& response) {
        Json const& document = MemberOf(body, "document");
        std::string const copy = OptionalText(body, "copy").value_or("");
        if (document.is_null()) {
            session.DiscardAutosave(copy, PageOf(body));
            response.status = 204;
            return;
        }
        SetJson(response, {{"copy", session.Autosave(document, OptionalText(body, "path"), copy, PageOf(body))}});
    }

    void WriteCommand(Json const& body, Response& response) {
        Edit::Document const document = plans.Read(MemberOf(body, "document"));
        std::string const folder = access.GetFolder().string();
        std::optional<std::string> const command = plans.WithCatalog([&](Host::Catalog const& catalog) {
            return options.writeCommand ? options.writeCommand(document, catalog, folder) : std::nullopt;
        });
        SetJson(response, {{"json", Edit::FormatDocument(document, folder)},
                           {"command", command ? Json(*command) : Json(nullptr)}});
    }

    void NotePage(Request const& request, Response& response) {
        std::string const page = request.get_param_value("page").substr(0, kLongestId);
        OpenPages::Clock::time_point const now = OpenPages::Clock::now();
        bool const isClosed = request.has_param("closed");
        {
            std::lock_guard const lock(mutex);
            isClosed ? pages.NoteClosed(page, now) : pages.NoteOpen(page, now);
        }
        response.status = 204;
        if (isClosed) {
            session.Release([&page](std::string const& keeper) { return keeper != page; });
        } else if (request.has_param("copy") && !session.Keep(request.get_param_value("copy"), page)) {
            throw RequestError(kNotFound, "the copy is not there any more");
        }
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
    Sounds sounds;
    Sources sources;
    Exports exports;
    std::mutex cardMutex;
    KeptBytes<std::string> cards;
    std::string token;
    RequestLimits limits;
    httplib::Server http;
    int port = 0;

    std::mutex mutex;
    std::condition_variable ended;
    bool isEnding = false;
    OpenPages pages;
};

Server::Server(Options options) : impl(std::make_unique<Impl>(std::move(options))) {}
Server::~Server() = default;

std::string Server::GetAddress() const {
    return impl->GetAddress();
}

std::uint16_t Server::GetPort() const {
    return impl->GetPort();
}

void Server::Run(std::atomic<bool> const& cancel) {
    impl->Run(cancel);
}

}  // namespace Kaltor::Studio
