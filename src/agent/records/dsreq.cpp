#include "agent/records/dsreq.h"

using namespace harbolance;

const NCTypeInfo DSRequest::info("DSRequest", ncCreate<DSRequest>, {&DSMessage::info});

DSRequest::DSRequest(int requestType, DSResource* request, uint32_t cookieValue)
    : DSMessage(DSTypeRequest, cookieValue, 0), requestType_(requestType), request_(request) {}

DSRequest::DSRequest(NCistream& in) : DSMessage(in) {
    if (!isCurrentVersion())
        return;
    in.read(requestType_);
    request_ = in.readRecord<DSResource>();
}

void DSRequest::write(NCostream& out) const {
    DSMessage::write(out);
    out.write(requestType_).writeRecord(request_.get());
}

void DSRequest::printOn(NCostream& out) const {
    DSMessage::printOn(out);
    out.write("Request Type:").write(requestType_).write("\n").write("Request:");
    dsPrintOn(out, request_.get());
}

uint32_t DSRequest::hash() const { return msgNum() ^ (request_ ? request_->hash() : 0); }

int DSRequest::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSRequest>(other);
    if (!that)
        return -1;
    if (const int order = DSMessage::compare(other))
        return order;
    if (const int order = dsDifference(requestType_, that->requestType_))
        return order;
    return dsCompare(request_.get(), that->request_.get());
}

uint64_t DSRequest::fingerprint() const {
    const uint64_t own = mixFingerprint(DSMessage::fingerprint(), static_cast<uint32_t>(requestType_));
    return mixFingerprint(own, dsFingerprint(request_.get()));
}
