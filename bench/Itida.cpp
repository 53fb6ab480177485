// The canonical form of e-invoices.
#include "bench/Harness.h"
#include "bench/Inputs.h"

namespace {

using namespace bench;

std::string party(const std::string& role, const std::string& id, const std::string& name) {
    return '"' + role +
           R"(":{"address":{"branchID":"0","country":"EG","governate":"Cairo",)"
           R"("regionCity":"Nasr City","street":"شارع الطيران","buildingNumber":"12"},)"
           R"("type":"B","id":")" +
           id + R"(","name":")" + name + "\"}";
}

std::string line(Noise& random) {
    const std::string quantity = std::to_string(1 + random.below(50));
    const std::string price = std::to_string(10 + random.below(9000)) + ".25";
    const std::string total = std::to_string(100 + random.below(60000)) + ".50";
    return R"({"description":"مقعد خشبي \"كلاسيك\" )" + std::to_string(random.below(1000)) +
           R"(","itemType":"EGS","itemCode":"EG-1013-)" + std::to_string(random.below(9999)) +
           R"(","unitType":"EA","quantity":)" + quantity +
           R"(,"unitValue":{"currencySold":"EGP","amountEGP":)" + price + R"(},"salesTotal":)" +
           total + R"(,"total":)" + total +
           R"(,"discount":{"rate":0,"amount":0.0},"taxableItems":[{"taxType":"T1","amount":)" +
           price + R"(,"subType":"V009","rate":14.00}],"internalCode":null})";
}

// As many invoice lines as there is room for, at least one.
std::string invoice(std::size_t size) {
    Noise random;
    std::string json = '{' + party("issuer", "113317713", "شركة الاختبار") + ',' +
                       party("receiver", "313717919", "Receiver Trading") +
                       R"(,"documentType":"I","documentTypeVersion":"1.0",)"
                       R"("dateTimeIssued":"2024-02-28T11:04:23Z","internalID":"2024/117",)"
                       R"("invoiceLines":[)" +
                       line(random);
    for (std::string next = line(random); json.size() + next.size() + 3 <= size;
         next = line(random))
        json.append(",").append(next);
    return json + "]}";
}

void add() {
    // The document is read from a buffer, which is filled once.
    ours({"Itida", "canonicalize", invoice, {1024, 65536, 1048576}},
         toBytes(
             [log = LogNull(), json = DataBuffer()](std::string_view in, DataBuffer& out) mutable {
                 if (json.getSize() == 0) json.append(in.data(), size32(in));
                 return ContentCoding::canonicalizeItida(json, out, log);
             }));
}

const Source kSource(add);

}  // namespace
