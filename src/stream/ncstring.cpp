#include "stream/ncstring.h"

#include "base/string_hash.h"
#include "stream/ncstream.h"

using namespace harbolance;

const NCTypeInfo NCString::info("NCString", ncCreate<NCString>, {&NCObject::info});

NCString::NCString(NCistream& in) : NCObject(in) {
    unsigned int length = 0;
    in.read(length);
    in.getText(text_);
    // The text ends at its NUL, even if the length is larger. A length smaller than the text is malformed.
    if (text_.size() > length)
        in.setFailed();
}

void NCString::write(NCostream& out) const { out.writeText(text_); }

void NCString::printOn(NCostream& out) const {
    out.write("\nClassName: NCString\n").write("len: ").write(len()).write("str: ").write(str()).write("\n");
}

uint32_t NCString::hash() const { return stringHash(text_); }

int NCString::compare(const NCObject* other) const {
    const auto* string = nc_cast<NCString>(other);
    return string ? std::strcmp(str(), string->str()) : -1;
}
