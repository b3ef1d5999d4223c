#pragma once

#include <ImfIO.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zv_image_io {

/// The file behind an OpenEXR output, which knows whether every byte arrived.
///
/// OpenEXR's own stream tells its owner, but the objects that own it forget what goes wrong while they are destroyed, and
/// that is when they write the last lines and the table of all. Here the first refusal stays: nothing is written after it,
/// and every later operation throws it again.
///
/// Errors   the exceptions of Iex that OpenEXR's own stream throws, with its texts
/// Owns     the open file. One that was neither finished nor discarded is discarded by the destructor.
/// Threads  one at a time
class ExrStream : public Imf::OStream {
public:
    /// Opens or creates the file. What it holds stays until the first byte is written.
    explicit ExrStream(std::string const& path);
    ~ExrStream() override;

    void write(char const bytes[], int count) override;
    std::uint64_t tellp() override { return m_position; }
    void seekp(std::uint64_t position) override;

    /// Hands what is still in memory to the system.
    void flush();
    /// The same, and closes the file. Nothing can be written after it.
    void finish();
    /// Closes the file and removes it, if it is a regular file that this stream created. Nothing for a finished one.
    void discard() noexcept;

    [[nodiscard]] bool has_failed() const { return m_error != 0 && !m_is_finished; }

private:
    void check() const;
    [[noreturn]] void fail(int error);
    void begin_writing();
    void hand_over(char const* bytes, std::size_t count);
    void close() noexcept;
    bool is_named_as_before() const noexcept;

    std::string m_path;
    int m_file = -1;
    std::vector<char> m_buffer;    // bytes that end at m_position
    std::uint64_t m_position = 0;  // where the next byte goes
    int m_error = 0;               // the first one
    bool m_is_finished = false;
    bool m_has_written = false;
    bool m_is_new = false;                   // a regular file that was not there before, with
    std::uint64_t m_device = 0, m_node = 0;  // this identity
};

}  // namespace zv_image_io
