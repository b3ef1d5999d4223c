#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace zv_fuzz {

using Bytes = std::span<unsigned char const>;

/// A part of the module that takes any bytes, from a picture file to a row of calls.
///
/// A harness that returns found nothing; what it finds ends the process, as a crash does.
struct Harness {
    char const* name;
    void (*run)(Bytes);
    /// Cheap enough to be tried a few thousand times in a test.
    bool is_quick;
};

std::span<Harness const> harnesses();
/// Null for a name that no harness has.
Harness const* find_harness(std::string_view name);

/// Ends the process with a line that tells the promise, unless it was kept.
void require(bool is_kept, char const* promise);

/// What every harness wants before its first input: all log lines formed and none shown, the file libraries on one thread
/// and with limits that damaged headers soon meet.
void prepare_process();

// pictures.cpp: the bytes are a file of that format; of the first two, the first byte chooses the extension.
void probe(Bytes bytes);
std::span<char const* const> probe_extensions();
void load_weak(Bytes bytes);
std::span<char const* const> weak_extensions();
void load_exr(Bytes bytes);
void load_tiff(Bytes bytes);
void load_png(Bytes bytes);
void load_tga(Bytes bytes);
void load_hdr(Bytes bytes);
void load_bmp(Bytes bytes);
void load_jpeg(Bytes bytes);

// texts.cpp
void parser(Bytes bytes);
void presets(Bytes bytes);
/// Three pieces with zero bytes between them: a prefix and two texts.
void metadata(Bytes bytes);

// saves.cpp
void output_names(Bytes bytes);
void exr_header(Bytes bytes);

// hash_table.cpp
void hash_table(Bytes bytes);

}  // namespace zv_fuzz
