#include "agent/records/dsusrinf.h"

const NCTypeInfo DSUserInfo::info("DSUserInfo", ncCreate<DSUserInfo>);

DSUserInfo::DSUserInfo(const char* userName, const DSAddr& hostAddr, int processId)
    : userName_(userName), hostAddr_(hostAddr), processId_(processId) {}

DSUserInfo::DSUserInfo(NCistream& in) : NCTransObject(in), userName_(in), hostAddr_(in) {
    in.read(processId_);
}

void DSUserInfo::write(NCostream& out) const {
    out.writeEmbedded(userName_).writeEmbedded(hostAddr_).write(processId_);
}

void DSUserInfo::printOn(NCostream& out) const {
    out.write("\nClassName: DSUserInfo\n");
    out.write("User Name:").write(userName_.str()).write("\n");
    out.write("Process id:").write(processId_).write("\n");
    hostAddr_.printOn(out);
}
