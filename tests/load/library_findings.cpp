// What the sanitizers find in the file libraries alone, which are not built with them. Without a sanitizer nothing
// calls this.

/// OpenImageIO's interned strings and its thread pool are guarded by atomics of their own, which cannot be seen from outside.
extern "C" char const* __tsan_default_suppressions()
{
    return "race:libOpenImageIO_Util\n";
}
