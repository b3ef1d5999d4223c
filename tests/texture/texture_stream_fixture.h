#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "image_io/texture/image_io_texture_stream.h"
#include "tests/support/temp_dir.h"
#include "tests/texture/texture_file.h"

using OIIO::TextureOpt;

inline constexpr float kUntouched = -7.0f;
using Result = std::array<float, 8>;

/// Textures of five, four and one channels, and lookups in them by either road.
class TextureStream : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_folder = new zv_test::TempDir;
        zv_test::write_texture(s_folder->file("five.exr"), 96, 64, 5);
        zv_test::write_texture(s_folder->file("square.exr"), 64, 64, 4);
        zv_test::write_texture(s_folder->file("grey.exr"), 64, 64, 1);
    }
    static void TearDownTestSuite() { delete s_folder; }
    ~TextureStream() override
    {
        ImageIOTextureStream::destroy();
        ImageIOTextureStream::set_cache_size(500.0);
        ImageIOTextureStream::destroy();
    }

    static UniqueString five() { return UniqueString(s_folder->file("five.exr")); }
    static UniqueString square() { return UniqueString(s_folder->file("square.exr")); }
    static UniqueString grey() { return UniqueString(s_folder->file("grey.exr")); }
    static ImageIOTextureStream& stream() { return *ImageIOTextureStream::get_texture_stream(); }

    /// A lookup somewhere off the centre, with a footprint of some pixels in every direction.
    static MapEvalCtx somewhere()
    {
        MapEvalCtx ctx;
        ctx.u = 0.11;
        ctx.v = 0.23;
        ctx.dudx = 0.05;
        ctx.dudy = 0.01;
        ctx.dvdx = 0.02;
        ctx.dvdy = 0.04;
        return ctx;
    }

    /// A footprint of a third of the picture one way, and of some pixels the other way.
    static MapEvalCtx stretched()
    {
        MapEvalCtx ctx = somewhere();
        ctx.dudx = 0.35;
        ctx.dudy = ctx.dvdx = 0.0;
        ctx.dvdy = 0.07;
        return ctx;
    }

    static float limit_of(ImageIOTextureStream& any)
    {
        float megabytes = 0.0f;
        any.get_oiio_texture_system()->getattribute("max_memory_MB", megabytes);
        return megabytes;
    }

    struct Modes {
        int swrap = TextureOpt::WrapPeriodic, twrap = TextureOpt::WrapPeriodic, interp = 1, mip = 3;
    };
    static bool evaluate(UniqueString const& name, MapEvalCtx ctx, Modes const& modes, Result& result)
    {
        result.fill(kUntouched);
        return stream().evaluate(name, ctx, modes.swrap, modes.twrap, modes.interp, modes.mip, result.data());
    }

    /// The same lookup asked of the library, in its own terms.
    static bool direct(UniqueString const& name, MapEvalCtx const& ctx, TextureOpt options, int first,
                       int count, float* result)
    {
        options.firstchannel = first;
        options.fill = 1.0f;
        options.sblur = options.tblur = float(ctx.blur);
        return stream().get_oiio_texture_system()->texture(
            name, options, float(ctx.u + 0.5), float(0.5 - ctx.v), float(ctx.dudx), float(-ctx.dvdx),
            float(ctx.dudy), float(-ctx.dvdy), count, result);
    }
    static TextureOpt default_options()
    {
        TextureOpt options;
        options.swrap = options.twrap = TextureOpt::WrapPeriodic;
        options.interpmode = TextureOpt::InterpBilinear;
        options.mipmode = TextureOpt::MipModeTrilinear;
        return options;
    }

    /// Compares a lookup in the first four channels with the library's answer under `options`.
    static void expect_as(MapEvalCtx const& ctx, Modes const& modes, TextureOpt const& options,
                          char const* what)
    {
        Result ours, theirs;
        theirs.fill(kUntouched);
        ASSERT_TRUE(evaluate(five(), ctx, modes, ours)) << what;
        ASSERT_TRUE(direct(five(), ctx, options, 0, 4, theirs.data())) << what;
        EXPECT_EQ(ours, theirs) << what;
    }

    static inline zv_test::TempDir* s_folder = nullptr;
};
