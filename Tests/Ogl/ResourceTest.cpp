// Objects and their names, pooled textures, and the state that one task leaves to the next.

#include "Ogl/GLBuffer.h"
#include "Ogl/GlState.h"
#include "Ogl/Mesh.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::EnableClientState;
using Ogl::EnableState;
using Ogl::Frame;
using Ogl::GlKind;
using Ogl::ShaderStorage;
using Ogl::TexelFormat;
using Ogl::Texture;

Ogl::PackedMesh3d const kTriangle{{{0, 0, 0, 0, 0}, {1, 0, 0, 1, 0}, {0, 1, 0, 0, 1}}, {{0, 1, 2}}};

TEST(GlObjects, DieOnAnyThreadAndAreDeletedOnTheGlThread) {
    struct Objects {
        Texture texture{{5, 5, TexelFormat::Rgba16, false}};
        Ogl::GLBuffer buffer{GL_ARRAY_BUFFER, GL_STREAM_DRAW};
        Ogl::Surface surface;
        Ogl::Shader shader{"OfThisTest", Ogl::kQuadVertex, "#version 120\nvoid main() { gl_FragColor = vec4(0.0); }\n"};
        Ogl::Mesh3d mesh;
        Frame frame = MakeFrame(6, 6, PixFmt::Yuv420p);
    };
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    std::optional<Objects> objects;
    OnGl([&](ShaderStorage const& storage) {
        objects.emplace();
        objects->surface.Attach(objects->texture);
        objects->surface.AttachDepth();
        objects->mesh.Build(kTriangle, GL_STATIC_DRAW);
        storage.FBO().Attach(objects->texture);
    });
    GLuint const textureName = objects->texture.GetName();
    Ogl::GlObjectCounts const during = CountObjectsInUse();
    for (auto const& [kind, count] : {std::pair{GlKind::Texture, 4},
                                      {GlKind::Buffer, 3},
                                      {GlKind::Framebuffer, 1},
                                      {GlKind::Renderbuffer, 1},
                                      {GlKind::Program, 1}}) {
        EXPECT_EQ(during.Alive(kind), before.Alive(kind) + count) << static_cast<int>(kind);
    }
    Frame copy = objects->frame;
    objects.reset();
    EXPECT_EQ(CountObjectsInUse().Alive(GlKind::Texture), before.Alive(GlKind::Texture) + 3) << "the copy keeps them";
    copy = Frame();
    EXPECT_EQ(CountObjectsInUse(), before);
    OnGl([textureName](ShaderStorage const&) { EXPECT_EQ(glIsTexture(textureName), GL_FALSE); });
}

TEST(Sizes, BeyondTheLimitAreRefusedByName) {
    auto const limit = static_cast<unsigned>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    for (auto const& [width, height] : {std::pair{0U, 4U}, {4U, 0U}, {limit + 1, 1U}, {1U, limit + 1}, {~0U, ~0U}}) {
        Caught const caught = Catch<std::runtime_error>(
            [w = width, h = height] { OnGl([w, h](ShaderStorage const&) { MakeFrame(w, h); }); });
        EXPECT_THAT(caught.what, HasSubstr(fmt::format("{}x{} pixels cannot be drawn: both sides must be 1 to {}",
                                                       width, height, limit)));
    }
    EXPECT_NO_THROW(OnGl([limit](ShaderStorage const&) { MakeFrame(limit, 1); }));
}

using Frames = StrategyTest;
INSTANTIATE_TEST_SUITE_P(On, Frames, kEachStrategy, NameStrategy);

TEST_P(Frames, ReadTransparentBlackAtFirstWhateverThePoolHeld) {
    for (PixFmt const format : {PixFmt::Rgba, PixFmt::Bgra, PixFmt::Rgb24, PixFmt::Bgrx}) {
        PixFmtDescription const& description = PixFmtDescription::Find(format);
        Picture const expected = Picture::Flat(19, 7, {0, 0, 0, description.HasAlpha() ? 0.0 : 1.0}, true);
        OnGl([&](ShaderStorage const& storage) {
            auto const makeSoiled = [&] {
                {
                    Frame const used = MakeFrame(19, 7, format);
                    storage.FBO().Attach(used.GetFirstTexture());
                    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
                    glClearColor(0.3F, 0.6F, 0.9F, 0.4F);
                    glClear(GL_COLOR_BUFFER_BIT);
                }
                std::int64_t const made = Ogl::OglManager::GetInstance().GetObjectCounts().Made(GlKind::Texture);
                Frame taken = MakeFrame(19, 7, format);
                EXPECT_EQ(Ogl::OglManager::GetInstance().GetObjectCounts().Made(GlKind::Texture), made) << "used again";
                return taken;
            };
            EXPECT_TRUE(IsNear(ReadSampled(makeSoiled().GetFirstTexture(), storage), expected, 0)) << description.name;
            EXPECT_TRUE(IsNear(ReadTexture(makeSoiled().GetFirstTexture(), storage), expected, 0)) << description.name;
            // A pass that covers a part of the target leaves no old content in the rest.
            Frame const frame = makeSoiled();
            EnableState const scissor(GL_SCISSOR_TEST);
            glScissor(0, 0, 0, 0);
            storage.FBO().Attach(frame.GetFirstTexture());
            glClear(GL_COLOR_BUFFER_BIT);
            EXPECT_TRUE(IsNear(ReadTexture(frame.GetFirstTexture(), storage), expected, 0)) << description.name;
            std::array<GLfloat, 4> clearColor{};
            glGetFloatv(GL_COLOR_CLEAR_VALUE, clearColor.data());
            EXPECT_EQ(clearColor, (std::array{0.3F, 0.6F, 0.9F, 0.4F})) << "is the caller's";
        });
    }
}

TEST_P(Frames, OpaqueOnesSampleWithAlphaOneWhateverIsDrawn) {
    for (PixFmt const format : {PixFmt::Rgb24, PixFmt::Bgrx}) {
        OnGl([&](ShaderStorage const& storage) {
            Frame const frame = MakeFrame(3, 2, format);
            auto const expect = [&](Rgba const& color) {
                EXPECT_TRUE(IsNear(ReadSampled(frame.GetFirstTexture(), storage), Picture::Flat(3, 2, color, true), 0));
                storage.FBO().Attach(frame.GetFirstTexture());
            };
            storage.FBO().Attach(frame.GetFirstTexture());
            glClearColor(0.2F, 0.4F, 0.6F, 0.0F);
            glClear(GL_COLOR_BUFFER_BIT);
            expect({0.2, 0.4, 0.6, 1});
            {
                EnableState const blend(GL_BLEND);
                glBlendFunc(GL_ZERO, GL_ZERO);
                MakeFrame(3, 2).Draw(storage.Quad(), storage);
            }
            expect({0, 0, 0, 1});
        });
    }
}

/// Leaves behind as much state as one task could.
void MessUp(ShaderStorage const& storage) {
    for (GLenum const capability : {GL_BLEND, GL_CULL_FACE, GL_DEPTH_TEST, GL_SCISSOR_TEST, GL_STENCIL_TEST}) {
        glEnable(capability);
    }
    for (GLenum const array : {GL_VERTEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY}) {
        glEnableClientState(array);
    }
    Frame const frame = MakeFrame(4, 4, PixFmt::Rgb24);
    storage.FBO().Attach(frame.GetFirstTexture());
    storage.FBO().AttachDepth();
    storage.Copy().Use();
    Ogl::Mesh3d mesh;
    mesh.Build(kTriangle, GL_STATIC_DRAW);
    mesh.Activate();
    frame.GetFirstTexture().Use(3);
    glBlendFuncSeparate(GL_CONSTANT_ALPHA, GL_ZERO, GL_DST_ALPHA, GL_ONE);
    glBlendEquation(GL_FUNC_REVERSE_SUBTRACT);
    glBlendColor(0.1F, 0.2F, 0.3F, 0.4F);
    glClearColor(0.5F, 0.6F, 0.7F, 0.8F);
    glCullFace(GL_FRONT);
    glFrontFace(GL_CW);
    glDepthMask(GL_FALSE);
    glScissor(0, 0, 1, 1);
}

TEST(TaskState, IsCleanForTheNextTaskAlsoAfterAFailure) {
    EXPECT_NO_THROW(OnGl([](ShaderStorage const& storage) { MessUp(storage); }));
    OnGl([](ShaderStorage const&) { EXPECT_EQ(QueryGlState(), GetInitialGlState()) << "after a task"; });
    EXPECT_THROW(OnGl([](ShaderStorage const& storage) {
                     MessUp(storage);
                     throw std::runtime_error("in the middle");
                 }),
                 std::runtime_error);
    OnGl([](ShaderStorage const&) { EXPECT_EQ(QueryGlState(), GetInitialGlState()) << "after a failure"; });
}

TEST(Guards, AGlErrorIsToldWithItsPlaceAndForgotten) {
    OnGl([](ShaderStorage const&) {
        glEnable(GL_TRIANGLES);  // no capability
        EXPECT_EQ(Catch<std::runtime_error>([] { Ogl::ThrowOnGlError("testing"); }).what,
                  "testing: invalid enumeration");
        EXPECT_NO_THROW(Ogl::ThrowOnGlError("again"));
    });
}

}  // namespace
}  // namespace Kaltor::Tests
