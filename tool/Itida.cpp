#include "tool/Itida.h"

#include <memory>
#include <new>

#include "support/Json.h"
#include "tool/Convert.h"

namespace {

// Loads the document again, for the place that the canonical form does not tell.
std::string whyNotLoaded(const DataBuffer& json) {
    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner;
    owner.take(document);
    LogNull log;
    if (!document || document->loadJson(json, log) || !document->fault().expected)
        return ": not enough memory";
    const contentcoding::JsonFault& fault = document->fault();
    return ':' + std::to_string(fault.line) + ':' + std::to_string(fault.column) + ": expected " +
           fault.expected;
}

void canonicalize(bool firstDocument, const FileArguments& files) {
    Source in(files.input, !files.noProgress);
    StringBuffer text = in.readAll(kLongestInput);
    unsigned int size = 0;
    char* const bytes = text.extractString(&size);
    DataBuffer json, canonical;
    json.takeData(reinterpret_cast<unsigned char*>(bytes), size);
    LogText log;
    if (firstDocument && !log.m_options.append("ItidaCanonFirstDoc")) throw std::bad_alloc();
    if (!ContentCoding::canonicalizeItida(json, canonical, log)) {
        std::string why;
        if (log.text().containsSubstring("(1)")) why = whyNotLoaded(json);
        if (log.text().containsSubstring("(2)")) why = ": no object is first in \"documents\"";
        throw dataError(in.name() + why, log, "not enough memory");
    }
    Destination out(files.output);
    out.write(viewOf(canonical));
    out.commit();
}

Job addItida(CLI::App& command, const FileArguments& files) {
    const auto firstDocument = std::make_shared<bool>(false);
    command.add_flag("--first-document", *firstDocument,
                     "Of a submission (\"documents\": [...]), the form of its first document");
    return [firstDocument, &files] { canonicalize(*firstDocument, files); };
}

}  // namespace

void addItidaCommand(CLI::App& app, FileArguments& files, Job& job) {
    addConversion(app, "itida", "An e-invoice in JSON to the form that is signed", addItida, files,
                  job);
}
