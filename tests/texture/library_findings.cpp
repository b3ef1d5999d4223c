// What the thread sanitizer finds in OpenImageIO alone, which is not built with it. Without a sanitizer nothing
// calls this.

/// The texture system and its thread pool hand over files, levels and tiles under spin locks and atomics of their
/// own, which cannot be seen from outside. So they do with a header that the module reads: the library wrote it.
extern "C" char const* __tsan_default_suppressions()
{
    return "race:libOpenImageIO\n";
}
