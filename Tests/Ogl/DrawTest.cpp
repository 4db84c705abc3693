// Programs, their uniforms and the attributes of meshes.

#include <glm/gtc/matrix_transform.hpp>

#include "Ogl/Mesh.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::Frame;
using Ogl::Shader;
using Ogl::ShaderStorage;

constexpr unsigned kWidth = 16;
constexpr unsigned kHeight = 12;
constexpr char kShowColor[] = "#version 120\nuniform vec4 color;\nvoid main() { gl_FragColor = color; }\n";
constexpr char kShowNormal[] =
    "#version 120\nvarying vec3 Normal;\nvoid main() { gl_FragColor = vec4(Normal, 1.0); }\n";
constexpr char kShowTexture[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() { gl_FragColor = texture2D(tex, TexCoord0); }
)glsl";

/// A mesh that shows a picture on one quarter of a target, texel by texel.
class MeshTest : public GlTest {
protected:
    /// The target after `draw(storage)` with the picture in unit 0.
    template <typename Draw>
    Picture Show(Draw const& draw) const {
        return Drawn(kWidth, kHeight, [&](ShaderStorage const& storage) {
            Frame const source = ToGpu(picture, storage);
            Shader const& shader = storage.MakeShader("MeshTest_plane", Ogl::kQuadVertex, kShowTexture);
            shader.Use();
            shader.Uniform("tex", 0);
            source.GetFirstTexture().Use(0, Ogl::TextureFilter::Nearest);
            draw(storage);
        });
    }

    Picture picture = Picture::Corners(kWidth / 2, kHeight / 2);
};

struct NamedVertex {
    glm::vec2 place;
    float red;
    glm::vec3 rest;

    static constexpr std::array<Ogl::VertexAttribute, 3> kLayout{{{"place", 2}, {"red", 1}, {"rest", 3}}};
};
// Not in the order of the layout.
constexpr char kNamedVertex[] = R"glsl(#version 120
attribute vec3 rest;
attribute float red;
attribute vec2 place;
varying vec3 Normal;
void main() {
    gl_Position = vec4(place, rest.z, 1.0);
    Normal = vec3(red, rest.xy);
}
)glsl";

TEST_F(MeshTest, AttributesReachTheProgramByNameAndEndWithTheMesh) {
    // Two triangles of different colours: the right lower half, then the left upper one.
    Ogl::PackedMesh<NamedVertex> packed{{0, 1, 2, 3, 4, 5}, {}};
    for (glm::vec2 const& corner : {glm::vec2(-1, -1), {1, -1}, {1, 1}}) {
        packed.vertices.push_back({corner, 0.2F, {0.4F, 0.6F, 0.0F}});
    }
    for (glm::vec2 const& corner : {glm::vec2(-1, -1), {1, 1}, {-1, 1}}) {
        packed.vertices.push_back({corner, 0.8F, {0.0F, 1.0F, 0.0F}});
    }
    Rgba const lower{0.2, 0.4, 0.6, 1};
    for (auto const& [count, upper] : {std::pair{3, Rgba{0, 0, 0, 0}}, {Ogl::Mesh::kAll, Rgba{0.8, 0, 1, 1}}}) {
        Picture const seen = Drawn(2, 2, [&packed, count = count](ShaderStorage const& storage) {
            storage.MakeShader("MeshTest_named", kNamedVertex, kShowNormal, NamedVertex::kLayout).Use();
            Ogl::AttributeMesh const mesh(packed, GL_STATIC_DRAW);
            mesh.Activate();
            mesh.Draw(count);
        });
        EXPECT_EQ(seen.At(1, 1), lower) << count << " indices, right lower half";
        EXPECT_EQ(seen.At(0, 0), upper) << count << " indices, left upper half";
    }

    // Another kind of mesh after it shows what it would show alone.
    Picture const after = Show([&](ShaderStorage const&) {
        Ogl::AttributeMesh const mesh(packed, GL_STATIC_DRAW);
        mesh.Activate();
        mesh.Draw(0);
        Ogl::Quad const quad({{0, 1, 3, 3, 1, 2}, {0, 0, -1, 0, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, -1, 1}}, GL_STATIC_DRAW);
        quad.Activate();
        quad.Draw();
    });
    EXPECT_TRUE(IsNear(after, Placed(picture, kWidth, kHeight, 0, 0), 0.0));

#ifndef NDEBUG
    // Another name, one attribute too few: the program and the vertices do not belong together.
    static constexpr std::array<Ogl::VertexAttribute, 3> kOtherName{{{"place", 2}, {"blue", 1}, {"rest", 3}}};
    static constexpr std::array<Ogl::VertexAttribute, 2> kTooFew{{{"place", 2}, {"red", 1}}};
    for (auto const& [layout, message] : {std::pair{Ogl::VertexLayout(kOtherName), "\"blue\""},
                                          {Ogl::VertexLayout(kTooFew), "3 attributes, its vertices 2"}}) {
        std::string const what = Catch<std::logic_error>([layout = layout] {
                                     OnGl([layout](ShaderStorage const& storage) {
                                         storage.MakeShader("MeshTest_unlike", kNamedVertex, kShowNormal, layout);
                                     });
                                 }).what;
        EXPECT_THAT(what, AllOf(HasSubstr("MeshTest_unlike"), HasSubstr(message)));
    }
#endif
}

/// What a program of one uniform `u` shows on one pixel: 255 times the colour.
template <typename... Values>
std::vector<int> Show(std::string const& type, std::string const& expression, Values const&... values) {
    Picture const seen = Drawn(1, 1, [&](ShaderStorage const& storage) {
        Shader const& shader = storage.MakeShader(
            "Uniform_" + type + expression, Ogl::kQuadVertex,
            fmt::format("#version 120\nuniform {} u;\nvoid main() {{ gl_FragColor = {} / 255.0; }}\n", type,
                        expression));
        shader.Use();
        shader.Uniform("u", values...);
#ifdef NDEBUG
        shader.Uniform("no_such_uniform", values...);  // ignored
#else
        EXPECT_THAT(Catch<std::logic_error>([&] { shader.Uniform("no_such_uniform", values...); }).what,
                    AllOf(HasSubstr(shader.GetName()), HasSubstr("\"no_such_uniform\"")));
#endif
        storage.Quad().Activate();
        storage.Quad().Draw();
    });
    std::vector<int> codes;
    for (double const channel : seen.At(0, 0)) {
        codes.push_back(static_cast<int>(std::lround(channel * 255.0)));
    }
    return codes;
}

TEST(Uniforms, OfEveryType) {
    EXPECT_THAT(Show("float", "vec4(u)", std::vector<float>{5.0F}), ElementsAre(5, 5, 5, 5));
    EXPECT_THAT(Show("vec4", "u", 1.0F, 2.0F, 3.0F, 4.0F), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(Show("vec4", "255.0 * u", Proc::Color{7, 8, 9, 10}), ElementsAre(7, 8, 9, 10));

    // Matrices as glm has them, column by column: u[column][row]; or the other way round.
    glm::mat2 const two(1, 2, 3, 4);
    EXPECT_THAT(Show("mat2", "vec4(u[0], u[1])", two), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(Show("mat2", "vec4(u[0], u[1])", two, true), ElementsAre(1, 3, 2, 4));
    glm::mat3 const three(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_THAT(Show("mat3", "vec4(u[1], u[2][0])", three), ElementsAre(4, 5, 6, 7));
    EXPECT_THAT(Show("mat3", "vec4(u[1], u[2][0])", three, true), ElementsAre(2, 5, 8, 3));
    // A translation moves a point that stands to its right.
    glm::mat4 const four = glm::translate(glm::mat4(1.0F), glm::vec3(10, 20, 30));
    EXPECT_THAT(Show("mat4", "u * vec4(1.0, 2.0, 3.0, 1.0)", four), ElementsAre(11, 22, 33, 1));
    EXPECT_THAT(Show("mat4", "vec4(1.0, 2.0, 3.0, 1.0) * u", four, true), ElementsAre(11, 22, 33, 1));
}

TEST(Programs, ErrorsNameTheProgramAndTellTheLogAndTheNameStaysFree) {
    static int round = 0;  // another name each time, since the right program stays
    std::string const name = fmt::format("Broken_{}", ++round);
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    struct Case {
        char const* vertex;
        char const* fragment;
        char const* message;
    };
    for (Case const& c :
         {Case{Ogl::kQuadVertex, "#version 120\nvoid main() { gl_FragColor = nonsense; }\n", "the fragment shader"},
          Case{"#version 120\nvoid main() { gl_Position = nonsense; }\n", kShowColor, "the vertex shader"},
          Case{Ogl::kQuadVertex, "#version 120\nvoid nonsense();\nvoid main() { nonsense(); }\n", "does not link"}}) {
        std::string const what =
            Catch<std::runtime_error>([&] {
                OnGl([&](ShaderStorage const& storage) { storage.MakeShader(name, c.vertex, c.fragment); });
            }).what;
        EXPECT_THAT(what, AllOf(HasSubstr(fmt::format("\"{}\"", name)), HasSubstr(c.message), HasSubstr("nonsense")));
    }
    EXPECT_EQ(CountObjectsInUse(), before);
    OnGl([&name](ShaderStorage const& storage) {
        EXPECT_EQ(storage.FindShader(name), nullptr);
        Shader const& shader = storage.MakeShader(name, Ogl::kQuadVertex, kShowColor);
        EXPECT_EQ(storage.FindShader(name), &shader);
        EXPECT_EQ(&storage.MakeShader(name, Ogl::kQuadVertex, kShowColor), &shader) << "compiled once";
#ifndef NDEBUG
        EXPECT_THAT(Catch<std::logic_error>([&] { storage.MakeShader(name, Ogl::kQuadVertex, kShowTexture); }).what,
                    HasSubstr(name))
            << "one name is one source";
#endif
    });
}

}  // namespace
}  // namespace Kaltor::Tests
