// kaltor._kaltor: effects on arrays of NumPy. The package's Python part gives it its face.
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <optional>
#include <stdexcept>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <unistd.h>

#include "kaltor/Embed.h"

namespace {

namespace py = pybind11;
using namespace Kaltor::Embed;

using Array = py::array_t<std::uint8_t>;

/// The pictures that are being drawn. Python ends its threads where they come back to it, which no C++ code survives:
/// it has to wait for them first, and nothing may begin then. In a copy of the process the GL thread is missing, and
/// mutexes may be locked for ever.
class Drawings {
public:
    /// One of them; what makes effects counts, too. Made and destroyed with the GIL.
    class One {
    public:
        explicit One(Drawings& allDrawings) : all(allDrawings) { all.Begin(); }
        ~One() { all.End(); }
        One(One const&) = delete;
        One& operator=(One const&) = delete;

    private:
        Drawings& all;
    };

    /// Waits without the GIL, which the threads that draw need to come to their end.
    void Close() {
        if (IsCopy()) {
            return;
        }
        py::gil_scoped_release const released;
        std::unique_lock lock(mutex);
        isClosed = true;
        ended.wait(lock, [this] { return count == 0; });
    }

private:
    void RequireOwner() {
        pid_t none = 0;
        if (!owner.compare_exchange_strong(none, getpid()) && IsCopy()) {
            throw std::runtime_error(
                "effects were used before this process was copied (fork), which leaves their GL thread behind: start "
                "processes with the method \"spawn\", or use the first effect in the copy");
        }
    }
    void Begin() {
        RequireOwner();
        std::lock_guard const lock(mutex);
        if (isClosed) {
            throw std::runtime_error("Python is ending");
        }
        ++count;
    }
    void End() {
        std::lock_guard const lock(mutex);
        --count;
        ended.notify_all();
    }
    bool IsCopy() const { return owner != 0 && owner != getpid(); }

    std::atomic<pid_t> owner{0};
    std::mutex mutex;
    std::condition_variable ended;
    int count = 0;
    bool isClosed = false;
};

/// An effect that any thread may use; one waits for the other.
class SharedEffect {
public:
    SharedEffect(Effect made, std::shared_ptr<Drawings> allDrawings)
        : effect(std::move(made)), drawings(std::move(allDrawings)) {}

    /// Runs `action(effect)` alone, and without the GIL: a thread that holds the effect may need it.
    template <typename Action>
    auto Run(Action const& action) {
        Drawings::One const one(*drawings);
        py::gil_scoped_release const released;
        std::lock_guard const lock(mutex);
        return action(effect);
    }

private:
    Effect effect;
    std::mutex mutex;
    std::shared_ptr<Drawings> drawings;
};

struct SharedLibrary {
    Library library;
    std::shared_ptr<Drawings> drawings = std::make_shared<Drawings>();
};

/// A picture in an array of (height, width, 3 or 4) bytes. Rows may have any distance, also backwards. Where pixels do
/// not follow each other in memory, the array becomes a copy in which they do. What is no array becomes one.
ImageView ToView(py::object& picture) {
    auto array = py::reinterpret_borrow<py::object>(picture);
    if (!py::isinstance<py::array>(picture)) {
        array = py::array::ensure(picture);
    }
    if (!array || !py::isinstance<Array>(array)) {
        // Numbers from 0 to 1 or beyond 255 would become other pictures without a word.
        py::object const kind = array ? py::object(array.attr("dtype")) : py::object(py::type::of(picture));
        throw std::invalid_argument("a picture has bytes (numpy.uint8), not " + std::string(py::str(kind)));
    }
    auto bytes = py::reinterpret_borrow<Array>(array);
    if (bytes.ndim() != 3 || (bytes.shape(2) != 3 && bytes.shape(2) != 4) || bytes.size() == 0) {
        throw std::invalid_argument("a picture is an array of bytes, (height, width, 3) or (height, width, 4)");
    }
    constexpr py::ssize_t kLargest = std::numeric_limits<int>::max();
    if (bytes.shape(0) > kLargest / bytes.shape(1) / bytes.shape(2)) {
        throw std::invalid_argument("a picture has less than 2 GiB");
    }
    py::ssize_t const row = bytes.shape(1) * bytes.shape(2);
    py::ssize_t stride = bytes.strides(0);
    bool const isDense = bytes.strides(2) == 1 && bytes.strides(1) == bytes.shape(2) && std::abs(stride) >= row &&
                         std::abs(stride) <= kLargest;
    if (!isDense) {
        bytes = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>(bytes);
        stride = row;  // what NumPy has for a single row may be anything
    }
    picture = bytes;
    return {bytes.data(), static_cast<std::uint32_t>(bytes.shape(1)), static_cast<std::uint32_t>(bytes.shape(0)),
            stride, bytes.shape(2) == 3 ? Layout::Rgb : Layout::Rgba};
}

/// An array on the image's own memory.
py::array ToArray(Image image) {
    auto const channels = static_cast<py::ssize_t>(image.GetChannels());
    auto* const owner = new Image(std::move(image));
    py::capsule const capsule(owner, [](void* pointer) { delete static_cast<Image*>(pointer); });
    return Array({static_cast<py::ssize_t>(owner->GetHeight()), static_cast<py::ssize_t>(owner->GetWidth()), channels},
                 {owner->GetStride(), channels, py::ssize_t{1}}, owner->GetPixels(), capsule);
}

py::array Apply(SharedEffect& effect, py::args pictures, double time, std::optional<double> progress) {
    std::vector<py::object> kept;  // as long as they are drawn
    std::vector<ImageView> views;
    for (py::handle const picture : pictures) {
        kept.push_back(py::reinterpret_borrow<py::object>(picture));
        views.push_back(ToView(kept.back()));
    }
    if (views.empty() || views.size() > 2) {
        throw std::invalid_argument("an effect takes one picture, a transition two");
    }
    Moment const moment{time, progress};
    return ToArray(effect.Run([&](Effect& one) {
        return views.size() == 1 ? one.Apply(views[0], moment) : one.Apply(views[0], views[1], moment);
    }));
}

std::unique_ptr<SharedEffect> MakeReleased(SharedLibrary const& shared, std::string const& name, std::size_t inputs) {
    Drawings::One const one(*shared.drawings);
    py::gil_scoped_release const released;
    return std::make_unique<SharedEffect>(shared.library.Make(name, inputs), shared.drawings);
}

}  // namespace

PYBIND11_MODULE(_kaltor, module) {
    py::enum_<FieldKind>(module, "FieldKind")
        .value("INTEGER", FieldKind::Integer)
        .value("NUMBER", FieldKind::Number)
        .value("FLAG", FieldKind::Flag)
        .value("CHOICE", FieldKind::Choice)
        .value("COLOUR", FieldKind::Colour)
        .value("LIST", FieldKind::List)
        .value("FILE", FieldKind::File);
    py::enum_<EffectKind>(module, "EffectKind")
        .value("EFFECT", EffectKind::Effect)
        .value("TRANSITION", EffectKind::Transition)
        .value("SERVICE", EffectKind::Service);
    py::class_<FieldInfo>(module, "Field")
        .def_readonly("name", &FieldInfo::name)
        .def_readonly("kind", &FieldInfo::kind)
        .def_readonly("value", &FieldInfo::value)
        .def_readonly("default", &FieldInfo::defaultValue)
        .def_readonly("minimum", &FieldInfo::minimum)
        .def_readonly("maximum", &FieldInfo::maximum)
        .def_readonly("labels", &FieldInfo::labels)
        .def_readonly("accepted", &FieldInfo::accepted)
        .def_readonly("help", &FieldInfo::help);
    py::class_<EffectInfo>(module, "EffectInfo")
        .def_readonly("name", &EffectInfo::name)
        .def_readonly("kind", &EffectInfo::kind)
        .def_readonly("inputs", &EffectInfo::inputs)
        .def_readonly("summary", &EffectInfo::summary);
    py::class_<SharedEffect>(module, "Effect")
        .def_property_readonly(
            "name", [](SharedEffect& effect) { return effect.Run([](Effect const& one) { return one.GetName(); }); })
        .def("fields", [](SharedEffect& effect) { return effect.Run([](Effect& one) { return one.GetFields(); }); })
        .def("set_text", [](SharedEffect& effect, std::string const& field,
                            std::string const& value) { effect.Run([&](Effect& one) { one.Set(field, value); }); })
        .def("seed",
             [](SharedEffect& effect, std::uint32_t seed) { effect.Run([&](Effect& one) { one.SetSeed(seed); }); })
        .def("reset", [](SharedEffect& effect) { effect.Run([](Effect& one) { one.Reset(); }); })
        .def("apply", &Apply, py::kw_only(), py::arg("time"), py::arg("progress"));
    py::class_<SharedLibrary>(module, "Library")
        .def(py::init<>())
        .def("list", [](SharedLibrary const& shared) { return shared.library.List(); })
        .def("faults", [](SharedLibrary const& shared) { return shared.library.GetFaults(); })
        .def("make", &MakeReleased)
        .def("close", [](SharedLibrary& shared) { shared.drawings->Close(); });
    module.def("version", &GetVersion);
}
