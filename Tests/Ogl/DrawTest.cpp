// Programs, their uniforms, meshes and the depth buffer: what lands where, and which way up.

#include <stdexcept>

#include <fmt/format.h>
#include <glm/gtc/matrix_transform.hpp>
#include <gmock/gmock.h>

#include "Ogl/GlState.h"
#include "Ogl/Mesh.h"
#include "Tests/Support/Caught.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::Frame;
using Ogl::Shader;
using Ogl::ShaderStorage;
using testing::AllOf;
using testing::HasSubstr;

constexpr unsigned kWidth = 16;
constexpr unsigned kHeight = 12;
constexpr char kShowColor[] = R"glsl(#version 120
uniform vec4 color;
void main() { gl_FragColor = color; }
)glsl";
constexpr char kShowTexture[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() { gl_FragColor = texture2D(tex, TexCoord0); }
)glsl";
constexpr char kSpaceVertex[] = R"glsl(#version 120
varying vec2 TexCoord0;
varying vec3 Normal;
void main() {
    gl_Position = vec4(gl_Vertex.xyz, 1.0);
    TexCoord0 = gl_MultiTexCoord0.xy;
    Normal = gl_Normal;
}
)glsl";

Frame MakeTarget(PixFmt format = PixFmt::Rgba, unsigned width = kWidth, unsigned height = kHeight) {
    Frame frame;
    frame.Allocate(format, width, height);
    return frame;
}

Frame ToGpu(Picture const& picture, ShaderStorage const& storage) {
    Frame frame;
    frame.Allocate(picture.hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24, picture.width, picture.height);
    frame.Upload(picture.ToFrame(), storage);
    return frame;
}

/// Draws with `draw(storage)` into a new target and returns what is there then.
template <typename Draw>
Picture Drawn(Draw const& draw, unsigned width = kWidth, unsigned height = kHeight) {
    Picture seen;
    OnGl([&](ShaderStorage const& storage) {
        Frame const target = MakeTarget(PixFmt::Rgba, width, height);
        storage.FBO().Attach(target.GetFirstTexture());
        draw(storage);
        seen = ReadTexture(target.GetFirstTexture(), storage);
    });
    return seen;
}

Shader const& UseTextured(ShaderStorage const& storage, Frame const& picture, bool isInSpace) {
    Shader const& shader = isInSpace ? storage.MakeShader("DrawTest_space", kSpaceVertex, kShowTexture)
                                     : storage.MakeShader("DrawTest_plane", Ogl::kQuadVertex, kShowTexture);
    shader.Use();
    shader.Uniform("tex", 0);
    picture.GetFirstTexture().Use(0, Ogl::TextureFilter::Nearest);
    return shader;
}

/// Half the target's width and height: the picture lands on one quarter texel by texel.
Picture QuarterSized() {
    return Picture::Corners(kWidth / 2, kHeight / 2);
}

/// `picture` with its left upper corner at (left, top) of an otherwise transparent target.
Picture Placed(Picture const& picture, unsigned left, unsigned top, bool isMirrored = false) {
    return Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) {
        bool const isInside = x >= left && x < left + picture.width && y >= top && y < top + picture.height;
        if (!isInside) {
            return Rgba{0, 0, 0, 0};
        }
        return picture.At(isMirrored ? picture.width - 1 - (x - left) : x - left, y - top);
    });
}

TEST(Meshes, QuadsOfTheirOwnVertices) {
    Picture const picture = QuarterSized();
    auto const draw = [&](std::vector<float> const& vertices, std::vector<unsigned> const& indices, int count) {
        return Drawn([&](ShaderStorage const& storage) {
            Frame const source = ToGpu(picture, storage);
            Ogl::Quad const quad(Ogl::PackedQuad{indices, vertices}, GL_STATIC_DRAW);
            UseTextured(storage, source, false);
            quad.Activate();
            quad.Draw(count);
        });
    };
    // The left upper quarter of the screen; then another one, mirrored, on the right lower one.
    std::vector<float> const two{0, 0, -1, 0,  1, 0, 0, 0,  1, 1, 0, 1, 0, 1, -1, 1,
                                 1, 0, 0,  -1, 0, 0, 1, -1, 0, 1, 1, 0, 1, 1, 0,  0};
    std::vector<unsigned> const indices{0, 1, 3, 3, 1, 2, 4, 5, 7, 7, 5, 6};
    Picture const upper = Placed(picture, 0, 0);
    Picture const lower = Placed(picture, kWidth / 2, kHeight / 2, true);
    EXPECT_TRUE(IsNear(draw(two, indices, 6), upper, 0.0));
    Picture const both = Picture::Make(kWidth, kHeight, true, [&](unsigned x, unsigned y) {
        return y < kHeight / 2 ? upper.At(x, y) : lower.At(x, y);
    });
    EXPECT_TRUE(IsNear(draw(two, indices, -1), both, 0.0));
    EXPECT_TRUE(IsNear(draw(two, indices, 1000), both, 0.0)) << "a count beyond the end";
    EXPECT_TRUE(IsNear(draw(two, indices, 0), Picture::Flat(kWidth, kHeight, {0, 0, 0, 0}, true), 0.0));
}

TEST(Meshes, AQuadWhoseVerticesAreWrittenEachFrame) {
    Picture const picture = QuarterSized();
    Picture const seen = Drawn([&](ShaderStorage const& storage) {
        Frame const source = ToGpu(picture, storage);
        Ogl::Quad quad(GL_DYNAMIC_DRAW);
        // Corners lower left, lower right, upper right, upper left: first the whole target, then the right upper
        // quarter.
        quad.GetVertexBuffer().UpdateBuffer(0, sizeof(Ogl::Quad::kFull), Ogl::Quad::kFull.data());
        EXPECT_EQ(quad.GetVertexBuffer().GetSize(), 64U);
        std::array<float, 16> const vertices{0, 0, 0, 0, 1, 0, 1, 0, 1, 1, 1, 1, 0, 1, 0, 1};
        quad.GetVertexBuffer().UpdateBuffer(0, sizeof(vertices), vertices.data());
        UseTextured(storage, source, false);
        quad.Activate();
        quad.Draw();
    });
    EXPECT_TRUE(IsNear(seen, Placed(picture, kWidth / 2, 0), 0.0));
}

TEST(Meshes, TrianglesInSpaceLandWhereTheirPointsSay) {
    Picture const picture = QuarterSized();
    Ogl::PackedMesh3d const packed{{{-1, -1, 0.5F, 0, 0}, {0, -1, 0.5F, 1, 0}, {0, 0, 0.5F, 1, 1}, {-1, 0, 0.5F, 0, 1}},
                                   {{0, 1, 2}, {0, 2, 3}}};
    Picture const seen = Drawn([&](ShaderStorage const& storage) {
        Frame const source = ToGpu(picture, storage);
        UseTextured(storage, source, true);
        Ogl::Mesh3d mesh;
        EXPECT_TRUE(mesh.IsEmpty());
        mesh.Activate();
        mesh.Draw();  // nothing
        mesh.Build({{{-1, -1, 0, 0, 0}, {1, -1, 0, 0, 0}, {0, 1, 0, 0, 0}}, {{0, 1, 2}}}, GL_STATIC_DRAW);
        mesh.Build(packed, GL_STATIC_DRAW);  // in place of the former
        EXPECT_FALSE(mesh.IsEmpty());
        // Another mesh is active in between.
        storage.Quad().Activate();
        mesh.Activate();
        mesh.Draw();
    });
    EXPECT_TRUE(IsNear(seen, Placed(picture, 0, kHeight / 2), 0.0));

    Picture const deprecated = Drawn([&](ShaderStorage const& storage) {
        Frame const source = ToGpu(picture, storage);
        UseTextured(storage, source, true);
        Ogl::Mesh3dDeprecated const mesh(Ogl::PackedMesh3dDeprecated{{0, 1, 2, 0, 2, 3},
                                                                     {-1, -1, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0},
                                                                     {0, 0, 1, 0, 1, 1, 0, 1},
                                                                     {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1}});
        mesh.Activate();
        mesh.Draw();
    });
    EXPECT_TRUE(IsNear(deprecated, Placed(picture, 0, kHeight / 2), 0.0));
}

TEST(Meshes, NormalsReachTheProgram) {
    Picture const seen = Drawn([](ShaderStorage const& storage) {
        storage
            .MakeShader("DrawTest_normal", kSpaceVertex,
                        "#version 120\nvarying vec3 Normal;\nvoid main() { gl_FragColor = vec4(Normal, 1.0); }\n")
            .Use();
        Ogl::Mesh3dDeprecated mesh;
        // Two triangles of different normals; only the first three indices are drawn.
        mesh.MakeMesh({0, 1, 2, 0, 2, 3}, {-1, -1, 0, 1, -1, 0, 1, 1, 0, -1, 1, 0}, {0, 0, 0, 0, 0, 0, 0, 0},
                      {0.2F, 0.4F, 0.6F, 0.2F, 0.4F, 0.6F, 0.2F, 0.4F, 0.6F, 1, 1, 1});
        mesh.Activate();
        mesh.Draw(3);
    });
    EXPECT_EQ(seen.At(kWidth - 1, kHeight - 2), (Rgba{0.2, 0.4, 0.6, 1})) << "right lower half";
    EXPECT_EQ(seen.At(0, 1), (Rgba{0, 0, 0, 0})) << "left upper half";
}

TEST(Depth, NearerWinsInEitherOrderAndEachAttachmentStartsAnew) {
    Rgba const red{1, 0, 0, 1};
    Rgba const green{0, 1, 0, 1};
    auto const drawAt = [](ShaderStorage const& storage, float z, Rgba const& color) {
        Shader const& shader = storage.MakeShader("DrawTest_color", kSpaceVertex, kShowColor);
        shader.Use();
        shader.Uniform("color", glm::vec4(color[0], color[1], color[2], color[3]));
        Ogl::Mesh3d mesh;
        mesh.Build({{{-1, -1, z, 0, 0}, {1, -1, z, 0, 0}, {1, 1, z, 0, 0}, {-1, 1, z, 0, 0}}, {{0, 1, 2}, {0, 2, 3}}},
                   GL_STREAM_DRAW);
        mesh.Activate();
        mesh.Draw();
    };
    auto const flat = [](Rgba const& color) { return Picture::Flat(kWidth, kHeight, color, true); };
    for (bool const isNearFirst : {false, true}) {
        Picture const seen = Drawn([&](ShaderStorage const& storage) {
            storage.FBO().AttachDepth();
            drawAt(storage, isNearFirst ? -0.5F : 0.5F, isNearFirst ? red : green);
            drawAt(storage, isNearFirst ? 0.5F : -0.5F, isNearFirst ? green : red);
            storage.FBO().DetachDepth();
            EXPECT_EQ(glIsEnabled(GL_DEPTH_TEST), GL_FALSE);
        });
        EXPECT_TRUE(IsNear(seen, flat(red), 0.0)) << "near first: " << isNearFirst;
    }
    EXPECT_TRUE(IsNear(Drawn([&](ShaderStorage const& storage) {
                           storage.FBO().AttachDepth();
                           drawAt(storage, -0.9F, red);
                           storage.FBO().DetachDepth();
                           storage.FBO().AttachDepth();  // cleared
                           drawAt(storage, 0.9F, green);
                           storage.FBO().DetachDepth();
                       }),
                       flat(green), 0.0));
    EXPECT_TRUE(IsNear(Drawn([&](ShaderStorage const& storage) {
                           storage.FBO().AttachDepth();
                           drawAt(storage, -0.9F, red);
                           storage.FBO().DetachDepth();
                           drawAt(storage, 0.9F, green);  // without a depth buffer the last one wins
                       }),
                       flat(green), 0.0));
    // A task that fails with the depth buffer attached does not disturb the next one, of another size.
    EXPECT_THROW(OnGl([](ShaderStorage const& storage) {
                     Frame const target = MakeTarget(PixFmt::Rgba, 3, 3);
                     storage.FBO().Attach(target.GetFirstTexture());
                     storage.FBO().AttachDepth();
                     throw std::runtime_error("in the middle");
                 }),
                 std::runtime_error);
    EXPECT_TRUE(IsNear(Drawn([&](ShaderStorage const& storage) { drawAt(storage, 0.9F, green); }), flat(green), 0.0));
}

TEST(Targets, TheViewportIsTheirs) {
    Picture small;
    Picture large;
    OnGl([&](ShaderStorage const& storage) {
        Frame const first = MakeTarget(PixFmt::Rgba, 3, 2);
        Frame const second = MakeTarget(PixFmt::Rgba, 9, 14);
        Frame const source = ToGpu(Picture::Flat(1, 1, {1, 1, 1, 1}), storage);
        for (Frame const* const target : {&first, &second, &first}) {
            storage.FBO().Attach(target->GetFirstTexture());
            EXPECT_EQ(storage.FBO().GetWidth(), target->GetWidth());
            EXPECT_EQ(storage.FBO().GetHeight(), target->GetHeight());
            source.Draw(storage.Quad(), storage);
        }
        small = ReadTexture(first.GetFirstTexture(), storage);
        large = ReadTexture(second.GetFirstTexture(), storage);
    });
    EXPECT_TRUE(IsNear(small, Picture::Flat(3, 2, {1, 1, 1, 1}, true), 0.0));
    EXPECT_TRUE(IsNear(large, Picture::Flat(9, 14, {1, 1, 1, 1}, true), 0.0));
}

/// What a program of one uniform shows on one pixel.
template <typename... Values>
Rgba ShowUniform(std::string const& type, std::string const& expression, Values const&... values) {
    Picture const seen = Drawn(
        [&](ShaderStorage const& storage) {
            Shader const& shader =
                storage.MakeShader("Uniform_" + type + expression, Ogl::kQuadVertex,
                                   "#version 120\nuniform " + type + " u" +
                                       ";\nvoid main() { gl_FragColor = " + expression + " / 255.0; }\n");
            shader.Use();
            shader.Uniform("u", values...);
            shader.Uniform("no_such_uniform", values...);  // ignored
            storage.Quad().Activate();
            storage.Quad().Draw();
        },
        1, 1);
    Rgba codes = seen.At(0, 0);
    for (double& code : codes) {
        code = std::round(code * 255.0);
    }
    return codes;
}

TEST(Uniforms, OfEveryType) {
    using testing::ElementsAre;
    EXPECT_THAT(ShowUniform("int", "vec4(float(u))", 77), ElementsAre(77, 77, 77, 77));
    EXPECT_THAT(ShowUniform("float", "vec4(u)", 12.0F), ElementsAre(12, 12, 12, 12));
    EXPECT_THAT(ShowUniform("float", "vec4(u)", 13.0), ElementsAre(13, 13, 13, 13));
    EXPECT_THAT(ShowUniform("vec2", "vec4(u, 0.0, 9.0)", 1.0F, 2.0F), ElementsAre(1, 2, 0, 9));
    EXPECT_THAT(ShowUniform("vec4", "u", 1.0F, 2.0F, 3.0F, 4.0F), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(ShowUniform("vec2", "vec4(u, 0.0, 9.0)", glm::vec2(3, 4)), ElementsAre(3, 4, 0, 9));
    EXPECT_THAT(ShowUniform("vec3", "vec4(u, 9.0)", glm::vec3(3, 4, 5)), ElementsAre(3, 4, 5, 9));
    EXPECT_THAT(ShowUniform("vec4", "u", glm::vec4(3, 4, 5, 6)), ElementsAre(3, 4, 5, 6));
    EXPECT_THAT(ShowUniform("vec4", "255.0 * u", Proc::Color{7, 8, 9, 10}), ElementsAre(7, 8, 9, 10));
    EXPECT_THAT(ShowUniform("float", "vec4(u)", std::vector<float>{5.0F}), ElementsAre(5, 5, 5, 5));

    // Matrices as glm has them, column by column: u[column][row]; or the other way round.
    glm::mat2 const two(1, 2, 3, 4);
    EXPECT_THAT(ShowUniform("mat2", "vec4(u[0], u[1])", two), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(ShowUniform("mat2", "vec4(u[0], u[1])", two, true), ElementsAre(1, 3, 2, 4));
    glm::mat3 const three(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_THAT(ShowUniform("mat3", "vec4(u[1], u[2][0])", three), ElementsAre(4, 5, 6, 7));
    EXPECT_THAT(ShowUniform("mat3", "vec4(u[1], u[2][0])", three, true), ElementsAre(2, 5, 8, 3));
    // A translation moves a point that stands to its right.
    glm::mat4 const four = glm::translate(glm::mat4(1.0F), glm::vec3(10, 20, 30));
    EXPECT_THAT(ShowUniform("mat4", "u * vec4(1.0, 2.0, 3.0, 1.0)", four), ElementsAre(11, 22, 33, 1));
    EXPECT_THAT(ShowUniform("mat4", "vec4(1.0, 2.0, 3.0, 1.0) * u", four, true), ElementsAre(11, 22, 33, 1));
}

TEST(Programs, ErrorsNameTheProgramAndTellTheLog) {
    auto const make = [](std::string const& name, char const* vertex, char const* fragment) {
        return Catch<std::runtime_error>(
                   [&] { OnGl([&](ShaderStorage const& s) { s.MakeShader(name, vertex, fragment); }); })
            .what;
    };
    // Another name each time, since the right program stays.
    static int round = 0;
    std::string const free = fmt::format("Broken_1_{}", ++round);
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    EXPECT_THAT(make(free, Ogl::kQuadVertex, "#version 120\nvoid main() { gl_FragColor = nonsense; }\n"),
                AllOf(HasSubstr(free), HasSubstr("fragment"), HasSubstr("nonsense")));
    EXPECT_THAT(make("Broken_2", "#version 120\nvoid main() { gl_Position = nonsense; }\n", kShowColor),
                AllOf(HasSubstr("\"Broken_2\""), HasSubstr("vertex"), HasSubstr("nonsense")));
    EXPECT_THAT(make("Broken_3", Ogl::kQuadVertex,
                     "#version 120\nvoid Nowhere();\nvoid main() { Nowhere(); gl_FragColor = vec4(1.0); }\n"),
                HasSubstr("\"Broken_3\""));
    EXPECT_EQ(CountObjectsInUse(), before);
    // The name is free for a right source.
    OnGl([&free](ShaderStorage const& storage) {
        EXPECT_EQ(storage.FindShader(free), nullptr);
        Shader const& shader = storage.MakeShader(free, Ogl::kQuadVertex, kShowColor);
        EXPECT_EQ(shader.GetName(), free);
        EXPECT_EQ(storage.FindShader(free), &shader);
        EXPECT_EQ(&storage.MakeShader(free, Ogl::kQuadVertex, kShowColor), &shader) << "compiled once";
    });
}

TEST(Programs, OneNameIsOneSource) {
    OnGl([](ShaderStorage const& storage) {
        Shader const& first = storage.MakeShader("OneName", Ogl::kQuadVertex, kShowColor);
#ifdef NDEBUG
        EXPECT_EQ(&storage.MakeShader("OneName", Ogl::kQuadVertex, kShowTexture), &first);
#else
        EXPECT_EQ(first.GetName(), "OneName");
        EXPECT_THAT(
            Catch<std::logic_error>([&] { storage.MakeShader("OneName", Ogl::kQuadVertex, kShowTexture); }).what,
            HasSubstr("OneName"));
#endif
    });
}

}  // namespace
}  // namespace Kaltor::Tests
