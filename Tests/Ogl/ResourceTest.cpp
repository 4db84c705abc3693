// Objects and their names, pooled textures, and the state that one task leaves to the next.

#include <optional>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "Ogl/GLBuffer.h"
#include "Ogl/GlState.h"
#include "Ogl/Mesh.h"
#include "Ogl/TexturePool.h"
#include "Tests/Support/Caught.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::EnableClientState;
using Ogl::EnableState;
using Ogl::Frame;
using Ogl::GlKind;
using Ogl::OglManager;
using Ogl::ShaderStorage;
using Ogl::TexelFormat;
using Ogl::Texture;
using Ogl::TextureForm;
using testing::HasSubstr;

constexpr std::array kStrategies{kSoftwareStrategy, kGpuStrategy};

TEST(GlObjects, DieOnAnyThreadAndAreDeletedOnTheGlThread) {
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    std::optional<Texture> texture;
    std::optional<Ogl::GLBuffer> buffer;
    std::optional<Ogl::Surface> surface;
    std::optional<Ogl::Shader> shader;
    std::optional<Ogl::Mesh3d> mesh;
    std::optional<Frame> frame;
    GLuint textureName = 0;
    OnGl([&](ShaderStorage const& storage) {
        texture.emplace(TextureForm{5, 5, TexelFormat::Rgba16, false});
        textureName = texture->GetName();
        buffer.emplace(GL_ARRAY_BUFFER, GL_STREAM_DRAW);
        surface.emplace();
        surface->Attach(*texture);
        surface->AttachDepth();
        shader.emplace("OfThisTest", Ogl::kQuadVertex, "#version 120\nvoid main() { gl_FragColor = vec4(0.0); }\n");
        mesh.emplace();
        mesh->Build({{{0, 0, 0, 0, 0}, {1, 0, 0, 1, 0}, {0, 1, 0, 0, 1}}, {{0, 1, 2}}}, GL_STATIC_DRAW);
        frame.emplace();
        frame->Allocate(PixFmt::Yuv420p, 6, 6);
        storage.FBO().Attach(*texture);
    });
    Ogl::GlObjectCounts during = CountObjectsInUse();
    EXPECT_EQ(during.Alive(GlKind::Texture), before.Alive(GlKind::Texture) + 4);
    EXPECT_EQ(during.Alive(GlKind::Buffer), before.Alive(GlKind::Buffer) + 3);
    EXPECT_EQ(during.Alive(GlKind::Framebuffer), before.Alive(GlKind::Framebuffer) + 1);
    EXPECT_EQ(during.Alive(GlKind::Renderbuffer), before.Alive(GlKind::Renderbuffer) + 1);
    EXPECT_EQ(during.Alive(GlKind::Program), before.Alive(GlKind::Program) + 1);

    Frame copy = *frame;  // a second reference keeps the textures
    frame.reset();
    EXPECT_EQ(CountObjectsInUse().Alive(GlKind::Texture), during.Alive(GlKind::Texture));
    copy = Frame();
    texture.reset();
    buffer.reset();
    surface.reset();
    shader.reset();
    mesh.reset();
    EXPECT_EQ(CountObjectsInUse(), before);
    OnGl([textureName](ShaderStorage const&) { EXPECT_EQ(glIsTexture(textureName), GL_FALSE); });
}

TEST(GlObjects, MoveWithoutADoubleDeath) {
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    OnGl([](ShaderStorage const&) {
        Texture first(TextureForm{3, 3, TexelFormat::Rgba8, false});
        GLuint const name = first.GetName();
        Texture second = std::move(first);
        EXPECT_EQ(second.GetName(), name);
        Texture third(TextureForm{4, 4, TexelFormat::Rgba8, false});
        third = std::move(second);
        EXPECT_EQ(third.GetName(), name);
        EXPECT_EQ(third.GetForm().width, 3U);
    });
    EXPECT_EQ(CountObjectsInUse(), before);
}

TEST(Sizes, BeyondTheLimitAreRefusedByName) {
    auto const limit = static_cast<unsigned>(OglManager::GetInstance().GetInfo().maxTextureSize);
    for (auto const& [width, height] : {std::pair{0U, 4U}, {4U, 0U}, {limit + 1, 1U}, {1U, limit + 1}, {~0U, ~0U}}) {
        Caught const caught = Catch<std::runtime_error>([width, height] {
            OnGl([width, height](ShaderStorage const&) { Frame().Allocate(PixFmt::Rgba, width, height); });
        });
        EXPECT_THAT(caught.what, HasSubstr(fmt::format("{}x{}", width, height)));
        EXPECT_THAT(caught.what, HasSubstr(std::to_string(limit)));
    }
    OnGl([limit](ShaderStorage const&) { EXPECT_NO_THROW(Texture(TextureForm{limit, 1, TexelFormat::Rgba8, false})); });
}

TEST(FreshFrames, ReadTransparentBlackWhateverThePoolHeld) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (PixFmt const format : {PixFmt::Rgba, PixFmt::Bgra, PixFmt::Rgb24, PixFmt::Bgrx}) {
            bool const hasAlpha = PixFmtDescription::Find(format).HasAlpha();
            Picture const expected = Picture::Flat(19, 7, {0, 0, 0, hasAlpha ? 0.0 : 1.0}, true);
            Picture sampled;
            Picture attached;
            Picture partly;
            OnGl([&](ShaderStorage const& storage) {
                auto const taken = [&] {
                    Frame frame;
                    frame.Allocate(format, 19, 7);
                    return frame;
                };
                auto const soil = [&] {
                    Frame const used = taken();
                    storage.FBO().Attach(used.GetFirstTexture());
                    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
                    glClearColor(0.3F, 0.6F, 0.9F, 0.4F);
                    glClear(GL_COLOR_BUFFER_BIT);
                };
                soil();
                sampled = ReadSampled(taken().GetFirstTexture(), storage);
                soil();
                attached = ReadTexture(taken().GetFirstTexture(), storage);
                soil();
                {
                    // A pass that covers a part of the target shows nothing of old in the rest.
                    Frame const frame = taken();
                    storage.FBO().Attach(frame.GetFirstTexture());
                    EnableState const scissor(GL_SCISSOR_TEST);
                    glScissor(0, 0, 0, 0);
                    glClear(GL_COLOR_BUFFER_BIT);
                    partly = ReadTexture(frame.GetFirstTexture(), storage);
                }
            });
            char const* const name = PixFmtDescription::Find(format).name;
            EXPECT_TRUE(IsNear(sampled, expected, 0.0)) << name;
            EXPECT_TRUE(IsNear(attached, expected, 0.0)) << name;
            EXPECT_TRUE(IsNear(partly, expected, 0.0)) << name;
        }
    }
}

TEST(FreshFrames, LeaveTheCallersClearColourAlone) {
    Picture seen;
    OnGl([&](ShaderStorage const& storage) {
        Frame frame;
        frame.Allocate(PixFmt::Rgba, 4, 4);
        Frame other;
        other.Allocate(PixFmt::Rgba, 4, 4);
        glClearColor(1.0F, 0.0F, 1.0F, 1.0F);
        storage.FBO().Attach(frame.GetFirstTexture());
        other.GetFirstTexture().Use(0);
        glClear(GL_COLOR_BUFFER_BIT);
        seen = ReadTexture(frame.GetFirstTexture(), storage);
    });
    EXPECT_TRUE(IsNear(seen, Picture::Flat(4, 4, {1, 0, 1, 1}, true), 0.0));
}

TEST(OpaqueFrames, SampleWithAlphaOneWhateverIsDrawn) {
    for (Ogl::FrameStrategy const& strategy : kStrategies) {
        ScopedStrategy const scoped(strategy);
        for (PixFmt const format : {PixFmt::Rgb24, PixFmt::Bgrx}) {
            Picture cleared;
            Picture blended;
            OnGl([&](ShaderStorage const& storage) {
                Frame clear;
                clear.Allocate(PixFmt::Rgba, 3, 2);
                Frame frame;
                frame.Allocate(format, 3, 2);
                storage.FBO().Attach(frame.GetFirstTexture());
                glClearColor(0.2F, 0.4F, 0.6F, 0.0F);
                glClear(GL_COLOR_BUFFER_BIT);
                cleared = ReadSampled(frame.GetFirstTexture(), storage);
                storage.FBO().Attach(frame.GetFirstTexture());
                EnableState const blend(GL_BLEND);
                glBlendFunc(GL_ZERO, GL_ZERO);
                clear.Draw(storage.Quad(), storage);
                glBlendFunc(GL_ONE, GL_ZERO);
                blended = ReadSampled(frame.GetFirstTexture(), storage);
            });
            EXPECT_TRUE(IsNear(cleared, Picture::Flat(3, 2, {0.2, 0.4, 0.6, 1}, true), 1e-3));
            EXPECT_TRUE(IsNear(blended, Picture::Flat(3, 2, {0, 0, 0, 1}, true), 0.0));
        }
    }
}

TEST(Tables, HoldFloatsThatBytesCannot) {
    std::vector<float> const values{-3.5F, 1e-6F, 1000.25F, 0.5F, 7.0F, -0.125F};
    Picture seen;
    OnGl([&](ShaderStorage const& storage) {
        Texture const table(3, 2, values.data());
        Frame frame;
        frame.Allocate(PixFmt::Rgba, 3, 2);
        storage.FBO().Attach(frame.GetFirstTexture());
        // 1 where the value is exactly that of the texel's own place, row by row from t = 0.
        Ogl::Shader const& shader = storage.MakeShader("TablesTest", Ogl::kQuadVertex, R"glsl(#version 120
uniform sampler2D tex;
uniform float values[6];
varying vec2 TexCoord0;
void main() {
    // A little off the centre: nothing may be filtered in between.
    float value = texture2D(tex, TexCoord0 + vec2(0.1, -0.1)).r;
    int at = int(floor(TexCoord0.x * 3.0)) + 3 * int(floor(TexCoord0.y * 2.0));
    float wanted = 0.0;
    for (int i = 0; i < 6; ++i) {
        if (i == at) {
            wanted = values[i];
        }
    }
    gl_FragColor = vec4(value == wanted ? 1.0 : 0.0);
}
)glsl");
        shader.Use();
        shader.Uniform("tex", 2);
        shader.Uniform("values", values);
        table.Use(2);
        storage.Quad().Activate();
        storage.Quad().Draw();
        seen = ReadTexture(frame.GetFirstTexture(), storage);
    });
    EXPECT_TRUE(IsNear(seen, Picture::Flat(3, 2, {1, 1, 1, 1}, true), 0.0));
}

/// Leaves as much behind as one task could.
void MessUp(ShaderStorage const& storage) {
    for (GLenum const capability : {GL_BLEND, GL_CULL_FACE, GL_DEPTH_TEST, GL_SCISSOR_TEST, GL_STENCIL_TEST}) {
        glEnable(capability);
    }
    for (GLenum const array : {GL_VERTEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY}) {
        glEnableClientState(array);
    }
    Frame frame;
    frame.Allocate(PixFmt::Rgb24, 4, 4);
    storage.FBO().Attach(frame.GetFirstTexture());
    storage.FBO().AttachDepth();
    storage.Copy().Use();
    Ogl::Mesh3d mesh;
    mesh.Build({{{0, 0, 0, 0, 0}, {1, 0, 0, 1, 0}, {0, 1, 0, 0, 1}}, {{0, 1, 2}}}, GL_STATIC_DRAW);
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
    GlState const initial = GetInitialGlState();
    for (bool const isFailing : {false, true}) {
        GlState after;
        try {
            OnGl([isFailing](ShaderStorage const& storage) {
                MessUp(storage);
                if (isFailing) {
                    throw std::runtime_error("in the middle");
                }
            });
            EXPECT_FALSE(isFailing);
        } catch (std::runtime_error const&) {
            EXPECT_TRUE(isFailing);
        }
        OnGl([&after](ShaderStorage const&) { after = QueryGlState(); });
        EXPECT_EQ(after, initial) << (isFailing ? "after a failure" : "after a task");
    }
}

TEST(Guards, RestoreWhatWasBefore) {
    OnGl([](ShaderStorage const&) {
        auto const isOn = [](GLenum what) { return glIsEnabled(what) == GL_TRUE; };
        {
            EnableState const outer(GL_BLEND);
            {
                EnableState const inner(GL_BLEND);
                EXPECT_TRUE(isOn(GL_BLEND));
            }
            EXPECT_TRUE(isOn(GL_BLEND)) << "was on before";
        }
        EXPECT_FALSE(isOn(GL_BLEND));
        try {
            EnableState const culled(GL_CULL_FACE);
            EnableClientState const colors(GL_COLOR_ARRAY);
            EXPECT_TRUE(isOn(GL_CULL_FACE) && isOn(GL_COLOR_ARRAY));
            throw 1;
        } catch (int) {
        }
        EXPECT_FALSE(isOn(GL_CULL_FACE) || isOn(GL_COLOR_ARRAY));
    });
}

TEST(Guards, AGlErrorIsToldWithItsPlaceAndForgotten) {
    OnGl([](ShaderStorage const&) {
        glEnable(GL_TRIANGLES);  // no capability
        Caught const caught = Catch<std::runtime_error>([] { Ogl::ThrowOnGlError("testing"); });
        EXPECT_EQ(caught.what, "testing: invalid enumeration");
        EXPECT_NO_THROW(Ogl::ThrowOnGlError("again"));
    });
}

}  // namespace
}  // namespace Kaltor::Tests
