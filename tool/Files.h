#ifndef TOOL_FILES_H
#define TOOL_FILES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "support/Output.h"
#include "tool/Failure.h"
#include "tool/Progress.h"

// The input of that name has more bytes than what is asked for takes.
Failure tooLong(const std::string& name, unsigned int limit);

// Both ends of a conversion. "-" names standard input or standard output. Whatever goes wrong
// is thrown as a Failure that names the file.

class Source {
public:
    Source(const std::string& path, bool showProgress);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // As messages call it.
    const std::string& name() const { return m_name; }

    // Reads `n` bytes, or fewer at the end of the input only.
    std::size_t read(char* bytes, std::size_t n);

    // Everything; a Failure if that is more than `limit` bytes. A file that is longer is not
    // even read.
    StringBuffer readAll(unsigned int limit);

private:
    std::string m_name;
    int m_descriptor;
    std::uint64_t m_size = 0;  // 0 where it is not known ahead
    Progress m_progress;
};

// A file comes into being under its name only when it is complete: until then it is a temporary
// file beside it, which goes when the run fails or is interrupted. Devices and pipes are written
// directly.
class Destination {
public:
    explicit Destination(const std::string& path);
    ~Destination();
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;

    void write(std::string_view bytes);

    // Ends the output; to be called once, after the last write.
    void commit();

private:
    [[noreturn]] void fail(int error) const;
    void writeNow(std::string_view bytes);
    void openTemporary();
    void discard();

    std::string m_name;
    std::string m_path;       // of the complete file; empty when written directly
    std::string m_temporary;  // while there is one
    std::string m_held;       // small pieces, until they are worth a write
    int m_descriptor = 1;
    contentcoding::FileOutput m_output{m_descriptor};
};

#endif
