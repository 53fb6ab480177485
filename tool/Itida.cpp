#include "tool/Itida.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "codec/CanonicalForm.h"
#include "tool/Convert.h"

namespace {

using contentcoding::CanonicalStatus;

// The longest form that a buffer holds.
constexpr std::uint64_t kLongestForm = 0xFFFFFFFF;

struct Options {
    bool firstDocument = false;
    std::uint64_t maxOutput = std::uint64_t{256} << 20;
};

// What to say after the name of the input.
std::string reasonOf(const contentcoding::CanonicalResult& result, std::uint64_t maxSize) {
    const contentcoding::JsonFault& fault = result.fault;
    switch (result.status) {
        case CanonicalStatus::kNotJson:
            return ':' + std::to_string(fault.line) + ':' + std::to_string(fault.column) +
                   ": expected " + fault.expected;
        case CanonicalStatus::kNoFirstDocument:
            return ": the first element of \"documents\" is missing or not an object";
        case CanonicalStatus::kTooLarge:
            return ": the canonical form would be longer than " + std::to_string(maxSize) +
                   " bytes (see --max-output)";
        default:
            return ": not enough memory";
    }
}

void canonicalize(const Options& options, const FileArguments& files) {
    Source in(files.input, !files.noProgress);
    const StringBuffer json = in.readAll(kLongestInput);
    const std::uint64_t maxSize = std::min(options.maxOutput, kLongestForm);
    DataBuffer form;
    const contentcoding::CanonicalResult result = contentcoding::canonicalizeItida(
        json.view(), {.firstDocument = options.firstDocument, .maxSize = maxSize}, form);
    if (result.status != CanonicalStatus::kOk)
        throw Failure(kDataError, in.name() + reasonOf(result, maxSize));
    Destination out(files.output);
    out.write(viewOf(form));
    out.commit();
}

Job addItida(CLI::App& command, const FileArguments& files) {
    const auto options = std::make_shared<Options>();
    command.add_flag("--first-document", options->firstDocument,
                     "Of a submission (\"documents\": [...]), the form of its first document");
    command
        .add_option("--max-output", options->maxOutput,
                    "Refuse a form of more bytes than this, 4G at most; 1K is 1024 bytes")
        ->transform(CLI::AsSizeValue(false).description(""))
        ->check(CLI::Range(std::uint64_t{0}, kLongestForm + 1).description(""))
        ->type_name("SIZE")
        ->default_str("256M");
    return [options, &files] { canonicalize(*options, files); };
}

}  // namespace

void addItidaCommand(CLI::App& app, FileArguments& files, Job& job) {
    addConversion(app, "itida", "An e-invoice in JSON to the form that is signed", addItida, files,
                  job);
}
