#include "tool/Itida.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "contentcoding/einvoice.hpp"
#include "tool/Convert.h"

namespace {

namespace einvoice = contentcoding::einvoice;
using contentcoding::Error;
using contentcoding::Fault;

constexpr std::uint64_t kLongestForm = 0xFFFFFFFF;

struct Options {
    bool firstDocument = false;
    std::uint64_t maxOutput = std::uint64_t{256} << 20;
};

// What to say after the name of the input.
std::string reasonOf(const Error& error, std::string_view json, std::uint64_t maxSize) {
    if (error.fault == Fault::kMissing)
        return ": the first element of \"documents\" is missing or not an object";
    if (error.fault == Fault::kTooLarge)
        return ": the canonical form would be longer than " + std::to_string(maxSize) +
               " bytes (see --max-output)";
    const auto [line, column] = contentcoding::position(json, error.offset);
    return ':' + std::to_string(line) + ':' + std::to_string(column) + ": expected " + error.detail;
}

bool isSubmission(std::string_view json) {
    const auto count = einvoice::documentCount(json);
    return count || count.error().fault != Fault::kMissing;
}

void canonicalize(const Options& options, const FileArguments& files) {
    Source in(files.input, !files.noProgress);
    const StringBuffer json = in.readAll(kLongestInput);
    const std::uint64_t maxSize = std::min(options.maxOutput, kLongestForm);
    // There 0 stands for no limit. No form has a single byte, so 1 does what 0 means here.
    einvoice::Options form{.maxOutput =
                               static_cast<std::size_t>(std::max<std::uint64_t>(maxSize, 1))};
    if (options.firstDocument && isSubmission(json.view())) form.document = 0;
    const auto written = einvoice::canonicalize(json.view(), form);
    if (!written)
        throw Failure(kDataError, in.name() + reasonOf(written.error(), json.view(), maxSize));
    Destination out(files.output);
    out.write(*written);
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
