#pragma once

// One spelling for the file libraries, whatever version is installed. Nothing else in the module names one.

// Iex and OpenImageIO both define a macro of this name; whoever has OpenImageIO's keeps it.
#pragma push_macro("ASSERT")
#undef ASSERT
#include <Iex.h>
#pragma pop_macro("ASSERT")

#include <ImathBox.h>
#include <ImathMatrix.h>
#include <ImathVec.h>
#include <ImfForward.h>
#include <OpenImageIO/oiioversion.h>
#include <half.h>

namespace Imf_2_4 = OPENEXR_IMF_INTERNAL_NAMESPACE;
namespace Iex_2_4 = IEX_INTERNAL_NAMESPACE;
namespace Imath_2_4 = IMATH_INTERNAL_NAMESPACE;

OIIO_NAMESPACE_BEGIN
class ImageInput;
class ImageOutput;
class ImageSpec;
OIIO_NAMESPACE_END

namespace OpenImageIO = OIIO;
