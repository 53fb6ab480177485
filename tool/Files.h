#ifndef TOOL_FILES_H
#define TOOL_FILES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "tool/Failure.h"
#include "tool/FileOutput.h"
#include "tool/Progress.h"

// The input of that name has more bytes than the operation takes, which is `limit`.
[[nodiscard]] Failure tooLong(const std::string& name, unsigned int limit);

// Opens those of the descriptors 0 to 2 that are closed, so that no file takes their place: a
// message would end up in it. Reading or writing through them still fails. False when it cannot.
[[nodiscard]] bool occupyStandardDescriptors();

// Both ends of a conversion. "-" names standard input or standard output. Whatever goes wrong
// is thrown as a Failure that names the file.

class Source {
public:
    Source(const std::string& path, bool showProgress);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // As messages call it, with its controls made visible.
    const std::string& name() const { return m_name; }

    // Reads `n` bytes, or fewer at the end of the input only.
    [[nodiscard]] std::size_t read(char* bytes, std::size_t n);

    // Everything; a Failure if that is more than `limit` bytes. A file that is longer is not
    // even read.
    [[nodiscard]] StringBuffer readAll(unsigned int limit);

private:
    std::string m_name;
    int m_descriptor;
    std::uint64_t m_size = 0;  // 0 where it is not known ahead
    Progress m_progress;
};

// A file comes into being under its name only when it is complete: until then it is a temporary
// file beside it, which is removed when the run fails or is interrupted. It keeps mode bits, owner
// and group of a file that it replaces, as far as permitted, but no set-user-ID and the like. Where
// the file can be written but not replaced, its content is, once all of it is there. Devices, pipes
// and open descriptors (/dev/stdout, /dev/fd/3) are written directly.
class Destination {
public:
    explicit Destination(const std::string& path);
    ~Destination();
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;

    void write(std::string_view bytes);

    // Hands on what write() has held back, for a run that is about to fail.
    void flush();

    bool isTerminal() const;

    // Ends the output; to be called once, after the last write.
    void commit();

private:
    [[noreturn]] void fail(int error) const;
    void writeNow(std::string_view bytes);
    void openTemporary();
    void putInPlace();
    void copyInPlace();

    std::string m_name;
    std::string m_path;       // of the complete file; empty when written directly
    std::string m_temporary;  // while there is one beside it
    bool m_replaces = false;  // whether there is a file of that path already
    std::string m_held;       // small pieces, until they are worth a write
    int m_descriptor = 1;
    FileOutput m_output{m_descriptor};
};

#endif
