#include "agent/records/dsmsg.h"

#include <ctime>

using namespace harbolance;

const NCTypeInfo DSMessage::info("DSMessage", ncCreate<DSMessage>, {&DSResource::info});

namespace {

uint32_t nextNumber() {
    static auto counter = static_cast<uint32_t>(std::time(nullptr));
    return counter++;
}

} // namespace

DSMessage::DSMessage(int type, uint32_t cookieValue, int cookieLen)
    : DSMessage(type, DSCookie(cookieValue, cookieLen)) {}

DSMessage::DSMessage(int type, const DSCookie& cookie)
    : version_(dsVersion), msgType_(type), msgNum_(nextNumber()), cookie_(cookie) {}

DSMessage::DSMessage(NCistream& in) : DSResource(in), version_(in) {
    if (!isCurrentVersion()) {
        in.stopEarly();
        return;
    }
    in.read(msgType_).read(msgNum_);
    cookie_.read(in);
}

void DSMessage::write(NCostream& out) const {
    out.writeEmbedded(version_).write(msgType_).write(msgNum_);
    cookie_.write(out);
}

void DSMessage::printOn(NCostream& out) const {
    out.write("Version:").write(version_.str()).write("\n");
    out.write("Msg Type:").write(msgType_).write("\n");
    out.write("Msg Num:").write(msgNum_).write("\n");
}

int DSMessage::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSMessage>(other);
    if (!that)
        return -1;
    if (const int order = version_.compare(&that->version_))
        return order;
    return dsDifference(msgType_, that->msgType_);
}

uint64_t DSMessage::fingerprint() const {
    return mixFingerprint(stringFingerprint(version_.text()), static_cast<uint32_t>(msgType_));
}
