#ifndef TOOL_CODERS_H
#define TOOL_CODERS_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "contentcoding/result.hpp"

// The formats of the tool, each as a coder that takes its input in pieces.

// What the command line asks for; a format looks at what it knows.
struct CodingOptions {
    std::size_t columns = 76;      // 0: no lines
    std::string lineEnd = "\n";    // of the text; of quoted-printable also of what is decoded
    bool isText = true;            // quoted-printable: LF and CRLF are line ends
    bool isFramed = false;         // Ascii85
    std::size_t maxInput = 65536;  // Base58, in bytes
};

// How much a decoder forgives.
enum class Leniency {
    kStrict,   // white space
    kIgnore,   // and characters that the format does not have
    kLenient,  // all that the library can forgive
};

class Coder {
public:
    using Sink = std::function<void(std::string_view)>;

    Coder() = default;
    Coder(const Coder&) = delete;
    Coder& operator=(const Coder&) = delete;
    virtual ~Coder() = default;
    virtual contentcoding::Result<void> feed(std::string_view piece, const Sink& sink) = 0;
    virtual contentcoding::Result<void> finish(const Sink& sink) = 0;
};

struct TextFormat {
    const char* name;
    const char* summary;
    std::size_t columns;  // by default
    bool hasLines;
    std::unique_ptr<Coder> (*encoder)(const CodingOptions& options);
    std::unique_ptr<Coder> (*decoder)(const CodingOptions& options, Leniency leniency);
};

extern const TextFormat kTextFormats[];
extern const std::size_t kTextFormatCount;

#endif
