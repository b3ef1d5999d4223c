#pragma once

#include <OpenImageIO/ustring.h>

/// A text that is stored once for the whole process, so that copies and comparisons cost as much as a pointer's.
/// OpenImageIO's texture system asks for names in this form, and its own class of that kind serves.
using UniqueString = OIIO::ustring;
