#include "tool/MailCommands.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "contentcoding/charset.hpp"
#include "contentcoding/header.hpp"
#include "contentcoding/mailbox.hpp"
#include "contentcoding/parameter.hpp"
#include "contentcoding/transfer.hpp"
#include "support/Ascii.h"
#include "tool/Failure.h"
#include "tool/Files.h"
#include "tool/Lines.h"
#include "tool/Visible.h"

namespace {

using namespace contentcoding;

constexpr unsigned int kLongestInput = 1 << 30;

// What the commands take; each adds the options that it knows.
struct Arguments {
    std::string text;
    CLI::Option* textOption = nullptr;
    std::string name;
    std::string value = "attachment";
    std::string scheme = "auto";
    std::string charset = "utf-8";
    std::string form = "extended";
    std::size_t wrap = 76;
    bool crlf = false;
    bool isPhrase = false;
    bool eachLine = false;
    bool isBlock = false;
    bool json = false;
};

// ---- Input and output ----

struct Input {
    std::string name;
    std::string text;
};

Input readAll(const Arguments& arguments, const FileArguments& files) {
    if (arguments.textOption && arguments.textOption->count() > 0)
        return {"--text", arguments.text};
    Source in(files.input, !files.noProgress);
    return {in.name(), std::string(in.readAll(kLongestInput).view())};
}

void tell(const std::vector<Error>& defects, std::string_view source, const std::string& place) {
    for (const Error& defect : defects) {
        const auto [line, column] = position(source, defect.offset);
        report(place + ':' + std::to_string(line) + ':' + std::to_string(column) + ": " +
               defect.message());
    }
}

std::string inJson(std::string_view text) {
    std::string json = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json.append({'\\', c});
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            (void)std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(c));
            json.append(escape);
        } else {
            json.push_back(c);
        }
    }
    return json.append("\"");
}

std::string defectsOf(const std::vector<Error>& defects) {
    std::string json = "\"defects\":[";
    for (const Error& defect : defects) {
        if (!json.ends_with('[')) json.push_back(',');
        json.append("{\"offset\":").append(std::to_string(defect.offset));
        json.append(",\"message\":").append(inJson(defect.message())).append("}");
    }
    return json.append("]");
}

// ---- Header values ----

// The length of the name that a field starts with; 0 for a line that starts no field.
std::size_t nameLength(std::string_view line) {
    const std::size_t colon = line.find(':');
    const auto isNameCharacter = [](char c) { return c > ' ' && c < 0x7F; };
    const bool isField =
        colon != line.npos && colon > 0 &&
        std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon),
                    isNameCharacter);
    return isField ? colon : 0;
}

// The end of the field, with its folded lines, that starts at `start`.
std::size_t endOfField(std::string_view text, std::size_t start) {
    std::size_t end = start;
    do {
        end = text.find('\n', end);
        if (end == text.npos) return text.size();
        ++end;
    } while (end < text.size() && (text[end] == ' ' || text[end] == '\t'));
    return end;
}

// The end of the fields that a text starts with: at an empty line, or at what is not a field.
std::size_t endOfFields(std::string_view text) {
    std::size_t end = 0;
    while (end < text.size() && nameLength(text.substr(end, text.find('\n', end) - end)) > 0)
        end = endOfField(text, end);
    return end;
}

// Two fields or more, and nothing else before an empty line or the end.
bool isPlainlyBlock(std::string_view text) {
    const std::size_t end = endOfFields(text);
    const bool ends = end == text.size() || text[end] == '\n' || text[end] == '\r';
    return ends && end > 0 && endOfField(text, 0) < end;
}

std::string decodeValue(std::string_view value, const Arguments& arguments,
                        const std::string& place) {
    const auto decoded = header::decode(value);
    if (arguments.json)
        return "{\"text\":" + inJson(decoded.text) + ',' + defectsOf(decoded.defects) + '}';
    tell(decoded.defects, value, place);
    return decoded.text;
}

void decodeBlock(const Input& input, const Arguments& arguments, Destination& out) {
    const std::string_view text = input.text;
    const std::size_t end = endOfFields(text);
    for (std::size_t at = 0; at < end;) {
        const std::size_t next = endOfField(text, at);
        const std::string_view field = text.substr(at, next - at);
        const std::size_t colon = nameLength(field);
        const auto line =
            std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
        const std::string value = decodeValue(field.substr(colon + 1), arguments,
                                              input.name + '+' + std::to_string(line));
        if (arguments.json)
            out.write("{\"name\":" + inJson(field.substr(0, colon)) + ',' + value.substr(1));
        else
            out.write(std::string(field.substr(0, colon)) + ": " + value);
        out.write("\n");
        at = next;
    }
}

void decodeHeader(const Arguments& arguments, const FileArguments& files) {
    Destination out(files.output);
    if (arguments.eachLine) {
        convertLines(files.input, !files.noProgress, out,
                     [&](std::string_view value, const std::string& place) {
                         return decodeValue(value, arguments, place);
                     });
    } else {
        const Input input = readAll(arguments, files);
        if (arguments.isBlock || isPlainlyBlock(input.text))
            decodeBlock(input, arguments, out);
        else
            out.write(decodeValue(input.text, arguments, input.name) + '\n');
    }
    out.commit();
}

void encodeHeader(const Arguments& arguments, const FileArguments& files) {
    if (!charset::isKnown(arguments.charset))
        throw Failure(kUsageError, "unknown charset: " + visible(arguments.charset));
    header::Encoding options;
    if (arguments.isPhrase) options.context = header::Context::kPhrase;
    if (arguments.scheme == "b") options.scheme = header::Scheme::kB;
    if (arguments.scheme == "q") options.scheme = header::Scheme::kQ;
    options.charset = arguments.charset;
    options.lineLength = arguments.eachLine ? 0 : arguments.wrap;
    options.lineEnd = arguments.crlf ? "\r\n" : "\n";
    const std::string start = arguments.name.empty() ? "" : arguments.name + ": ";
    options.column = start.size();
    Destination out(files.output);
    if (arguments.eachLine) {
        convertLines(files.input, !files.noProgress, out,
                     [&](std::string_view value, const std::string&) {
                         return start + header::encode(value, options);
                     });
    } else {
        const Input input = readAll(arguments, files);
        out.write(start + header::encode(withoutLineEnd(input.text), options));
        out.write(options.lineEnd);
    }
    out.commit();
}

// ---- Parameters ----

void decodeParameter(const Arguments& arguments, const FileArguments& files) {
    const Input input = readAll(arguments, files);
    const auto parsed = parameter::parse(input.text);
    std::string result;
    if (arguments.json) {
        result = "{\"value\":" + inJson(parsed.value) + ",\"parameters\":[";
        for (const auto& one : parsed.parameters) {
            if (!result.ends_with('[')) result.push_back(',');
            result.append("{\"name\":" + inJson(one.name) + ",\"value\":" + inJson(one.value) +
                          '}');
        }
        result.append("]," + defectsOf(parsed.defects) + "}\n");
    } else {
        tell(parsed.defects, input.text, input.name);
        const auto wanted = parsed.get(arguments.name);
        if (!arguments.name.empty() && !wanted)
            throw Failure(kDataError, input.name + ": no parameter " + visible(arguments.name));
        if (wanted) result = std::string(*wanted) + '\n';
        if (arguments.name.empty()) {
            result = parsed.value + '\n';
            for (const auto& one : parsed.parameters)
                result.append(one.name + ": " + one.value + '\n');
        }
    }
    Destination out(files.output);
    out.write(result);
    out.commit();
}

void encodeParameter(const Arguments& arguments, const FileArguments& files) {
    const Input input = readAll(arguments, files);
    parameter::Writing writing{.lineLength = arguments.wrap,
                               .lineEnd = arguments.crlf ? "\r\n" : "\n"};
    if (arguments.form == "words") writing.form = parameter::Form::kEncodedWords;
    if (arguments.form == "twin") writing.form = parameter::Form::kTwin;
    const std::string text(withoutLineEnd(input.text));
    const auto field = parameter::format(arguments.value, {{arguments.name, text}}, writing);
    if (!field) throw Failure(kUsageError, field.error().message());
    Destination out(files.output);
    out.write(*field);
    out.write(writing.lineEnd);
    out.commit();
}

// ---- Addresses ----

void decodeAddresses(const Arguments& arguments, const FileArguments& files) {
    const Input input = readAll(arguments, files);
    const auto parsed = mailbox::parse(input.text);
    std::string result;
    for (const auto& one : parsed.list) {
        if (arguments.json) {
            result.append(result.empty() ? "" : ",");
            result.append("{\"name\":" + inJson(one.name) + ",\"address\":" + inJson(one.address) +
                          ",\"group\":" + inJson(one.group) + '}');
        } else {
            result.append(one.address + '\t' + one.name + '\n');
        }
    }
    if (arguments.json)
        result = "{\"list\":[" + result + "]," + defectsOf(parsed.defects) + "}\n";
    else
        tell(parsed.defects, input.text, input.name);
    Destination out(files.output);
    out.write(result);
    out.commit();
}

void encodeAddress(const Arguments& arguments, const FileArguments& files) {
    const Input input = readAll(arguments, files);
    const std::string_view address = withoutLineEnd(input.text);
    const header::Encoding options{.lineLength = arguments.wrap,
                                   .lineEnd = arguments.crlf ? "\r\n" : "\n"};
    const auto written = mailbox::format(arguments.name, address, options);
    if (!written) {
        const std::string column = std::to_string(written.error().offset + 1);
        throw Failure(kDataError, input.name + ":1:" + column + ": " + written.error().message());
    }
    Destination out(files.output);
    out.write(*written);
    out.write(options.lineEnd);
    out.commit();
}

// ---- Bodies ----

// The value of the first field of that name, in any case; empty if there is none.
std::string_view fieldOf(std::string_view head, std::string_view name) {
    for (std::size_t at = 0; at < head.size();) {
        const std::size_t next = endOfField(head, at);
        const std::string_view field = head.substr(at, next - at);
        const std::size_t colon = nameLength(field);
        if (colon > 0 && equalIgnoringCase(field.substr(0, colon), name))
            return field.substr(colon + 1);
        at = next;
    }
    return {};
}

void decodeBody(const FileArguments& files) {
    const Input input = readAll({}, files);
    const std::string_view text = input.text;
    const std::size_t end = endOfFields(text);
    const std::string_view head = text.substr(0, end);
    const std::size_t lineEnd = text.substr(end).starts_with("\r\n") ? 2
                                : text.substr(end).starts_with('\n') ? 1
                                                                     : 0;
    if (end == 0 || (lineEnd == 0 && end < text.size()))
        throw Failure(kDataError,
                      input.name + ": not a message: a header and an empty line come first");
    const std::string type = parameter::parse(fieldOf(head, "Content-Type")).value;
    if (equalIgnoringCase(std::string_view(type).substr(0, 10), "multipart/"))
        throw Failure(kDataError, input.name + ": a message of several parts (" + visible(type) +
                                      "); this decodes the body of a message with one");
    const auto encoding = fieldOf(head, "Content-Transfer-Encoding");
    const auto body = transfer::decode(text.substr(end + lineEnd), encoding);
    if (!body) {
        const auto [line, column] = position(text, end + lineEnd + body.error().offset);
        throw Failure(kDataError, input.name + ':' + std::to_string(line) + ':' +
                                      std::to_string(column) + ": " + body.error().message());
    }
    Destination out(files.output);
    out.write(*body);
    out.commit();
}

void listCharsets() {
    std::string list;
    for (const auto name : charset::names())
        list.append(name).push_back('\n');
    Destination out("-");
    out.write(list);
    out.commit();
}

// ---- The command line ----

using Work = void (*)(const Arguments& arguments, const FileArguments& files);

std::shared_ptr<Arguments> add(CLI::App& group, const char* name, const char* summary, Work work,
                               FileArguments& files, Job& job, CLI::App*& command) {
    auto arguments = std::make_shared<Arguments>();
    command = group.add_subcommand(name, summary);
    command->add_option("FILE", files.input, "The file to read; standard input by default")
        ->type_name("");
    arguments->textOption =
        command->add_option("--text", arguments->text, "Take TEXT for the input")
            ->type_name("TEXT");
    command
        ->add_option("-o,--output", files.output, "The file to write; standard output by default")
        ->type_name("FILE");
    command->add_flag("--no-progress", files.noProgress, "Show no progress line on a terminal");
    command->callback([arguments, work, &files, &job] {
        job = [arguments, work, &files] { work(*arguments, files); };
    });
    return arguments;
}

void addLines(CLI::App& command, Arguments& arguments) {
    command.add_option("-w,--wrap", arguments.wrap, "Fold lines after N characters; 0: no folding")
        ->type_name("N")
        ->capture_default_str();
    command.add_flag("--crlf", arguments.crlf, "Lines end with CRLF, as in mail");
}

void addJson(CLI::App& command, Arguments& arguments) {
    command.add_flag("--json", arguments.json, "Write JSON, with what was wrong and where");
}

void addName(CLI::App& command, Arguments& arguments, const char* what) {
    command.add_option("--name", arguments.name, what)->type_name("NAME");
}

void addHeader(CLI::App& app, FileArguments& files, Job& job) {
    CLI::App* const group = app.add_subcommand("header", "Values of mail header fields (RFC 2047)");
    group->require_subcommand(1);
    CLI::App* command = nullptr;
    auto encode =
        add(*group, "encode", "A text to a header value", encodeHeader, files, job, command);
    addName(*command, *encode, "Write the whole field of that name");
    command->add_flag("--phrase", encode->isPhrase, "A display name before an address");
    command->add_option("--scheme", encode->scheme, "b, q, or auto: the shorter")
        ->type_name("SCHEME")
        ->check(CLI::IsMember({"b", "q", "auto"}))
        ->capture_default_str();
    command
        ->add_option("--charset", encode->charset, "The charset of the words; the input is UTF-8")
        ->type_name("NAME")
        ->capture_default_str();
    addLines(*command, *encode);
    command->add_flag("--each-line", encode->eachLine, "Convert each line as a value of its own");
    auto decode = add(*group, "decode", "A value, or a block of fields, to UTF-8", decodeHeader,
                      files, job, command);
    auto* const each = command->add_flag("--each-line", decode->eachLine,
                                         "Decode each line as a value of its own");
    command
        ->add_flag("--block", decode->isBlock,
                   "Decode fields up to an empty line; by default if the input is plainly such")
        ->excludes(each);
    addJson(*command, *decode);
}

void addParameters(CLI::App& app, FileArguments& files, Job& job) {
    CLI::App* const group = app.add_subcommand("param", "Parameters of fields (RFC 2231)");
    group->require_subcommand(1);
    CLI::App* command = nullptr;
    auto decode = add(*group, "decode", "A field value to its parameters", decodeParameter, files,
                      job, command);
    addName(*command, *decode, "Write the value of this parameter only");
    addJson(*command, *decode);
    auto encode = add(*group, "encode", "A value to a field with a parameter", encodeParameter,
                      files, job, command);
    addName(*command, *encode, "The name of the parameter");
    encode->name = "filename";
    command->get_option("--name")->capture_default_str();
    command->add_option("--value", encode->value, "What stands before the parameter")
        ->type_name("VALUE")
        ->capture_default_str();
    command
        ->add_option("--form", encode->form,
                     "extended (RFC 2231), words (RFC 2047), or twin (both)")
        ->type_name("FORM")
        ->check(CLI::IsMember({"extended", "words", "twin"}))
        ->capture_default_str();
    addLines(*command, *encode);
}

void addAddresses(CLI::App& app, FileArguments& files, Job& job) {
    CLI::App* const group = app.add_subcommand("address", "Names and addresses (RFC 5322)");
    group->require_subcommand(1);
    CLI::App* command = nullptr;
    auto decode = add(*group, "decode", "A list to lines of address, tab and name", decodeAddresses,
                      files, job, command);
    addJson(*command, *decode);
    auto encode = add(*group, "encode", "An address, with a name, for a field", encodeAddress,
                      files, job, command);
    addName(*command, *encode, "The display name");
    addLines(*command, *encode);
}

}  // namespace

void addMailCommands(CLI::App& app, FileArguments& files, Job& job) {
    addHeader(app, files, job);
    addParameters(app, files, job);
    addAddresses(app, files, job);
    CLI::App* const body = app.add_subcommand("body", "The body of a message with one part");
    body->add_option("FILE", files.input, "The message; standard input by default")->type_name("");
    body->add_option("-o,--output", files.output, "The file to write; standard output by default")
        ->type_name("FILE");
    body->add_flag("--no-progress", files.noProgress, "Show no progress line on a terminal");
    body->callback([&job, &files] { job = [&files] { decodeBody(files); }; });
    app.add_subcommand("charsets", "List the charsets that are always known")->callback([&job] {
        job = listCharsets;
    });
}
