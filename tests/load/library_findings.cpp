// What the sanitizers find in the file libraries alone, which are not built with them. Without a sanitizer nothing
// calls these.

/// OpenImageIO's reader of PNG files leaves with longjmp while it holds the text of an error. Stacks of such a text may end in
/// the C++ library, since neither keeps frame pointers.
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:libOpenImageIO\nleak:basic_string<char*>::_M_assign\n";
}

/// Its interned strings and its thread pool are guarded by atomics of their own, which cannot be seen from outside.
extern "C" char const* __tsan_default_suppressions()
{
    return "race:libOpenImageIO_Util\n";
}
