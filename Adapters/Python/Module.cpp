// kaltor._kaltor: effects on arrays of NumPy. The package's Python part gives it its face.
#include <cstdlib>
#include <optional>
#include <stdexcept>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "kaltor/Embed.h"

namespace {

namespace py = pybind11;
using namespace Kaltor::Embed;

using Array = py::array_t<std::uint8_t>;

/// A picture in an array of (height, width, 3 or 4) bytes. Rows may have any distance, also backwards. Where pixels do
/// not follow each other in memory, the array becomes a copy in which they do.
ImageView ToView(Array& array) {
    if (array.ndim() != 3 || (array.shape(2) != 3 && array.shape(2) != 4) || array.size() == 0) {
        throw std::invalid_argument("a picture is an array of bytes, (height, width, 3) or (height, width, 4)");
    }
    bool const isDense = array.strides(2) == 1 && array.strides(1) == array.shape(2) &&
                         std::abs(array.strides(0)) >= array.shape(1) * array.shape(2);
    if (!isDense) {
        array = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>(array);
    }
    return {array.data(), static_cast<std::uint32_t>(array.shape(1)), static_cast<std::uint32_t>(array.shape(0)),
            array.strides(0), array.shape(2) == 3 ? Layout::Rgb : Layout::Rgba};
}

/// An array on the image's own memory.
py::array ToArray(Image image) {
    auto const channels = static_cast<py::ssize_t>(image.GetChannels());
    auto* const owner = new Image(std::move(image));
    py::capsule const capsule(owner, [](void* pointer) { delete static_cast<Image*>(pointer); });
    return Array({static_cast<py::ssize_t>(owner->GetHeight()), static_cast<py::ssize_t>(owner->GetWidth()), channels},
                 {owner->GetStride(), channels, py::ssize_t{1}}, owner->GetPixels(), capsule);
}

py::array Apply(Effect& effect, std::vector<Array> pictures, double time, std::optional<double> progress) {
    std::vector<ImageView> views;
    for (Array& picture : pictures) {
        views.push_back(ToView(picture));
    }
    if (views.empty() || views.size() > 2) {
        throw std::invalid_argument("an effect takes one picture, a transition two");
    }
    Moment const moment{time, progress};
    Image image;
    {
        py::gil_scoped_release const released;
        image = views.size() == 1 ? effect.Apply(views[0], moment) : effect.Apply(views[0], views[1], moment);
    }
    return ToArray(std::move(image));
}

Effect MakeReleased(Library const& library, std::string const& name, std::size_t inputs) {
    py::gil_scoped_release const released;
    return library.Make(name, inputs);
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
    py::class_<Effect>(module, "Effect")
        .def_property_readonly("name", &Effect::GetName)
        .def("fields", &Effect::GetFields)
        .def("set_text",
             [](Effect& effect, std::string const& field, std::string const& value) { effect.Set(field, value); })
        .def("seed", &Effect::SetSeed)
        .def("reset", &Effect::Reset)
        .def("apply", &Apply);
    py::class_<Library>(module, "Library")
        .def(py::init<>(), py::call_guard<py::gil_scoped_release>())
        .def("list", &Library::List)
        .def("faults", &Library::GetFaults)
        .def("make", &MakeReleased);
    module.def("version", &GetVersion);
}
