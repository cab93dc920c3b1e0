#include "agent/records/trxstring.h"

const NCTypeInfo TRXString::info("TRXString", ncCreate<TRXString>, {&DSResource::info});

TRXString::TRXString(NCistream& in) : DSResource(in) {
    unsigned long size = 0;
    in.read(size);
    // The size includes the NUL, so it is at least 1.
    if (size == 0 || size > in.remaining()) {
        in.setFailed();
        return;
    }
    std::string text;
    // Read in pieces of a multiple of 4 octets, so that no padding comes between them. The text form does not
    // know how much is left, so memory grows with the octets that arrive.
    for (char block[256]; size > 0 && !in.failed();) {
        const size_t count = size < sizeof block ? size : sizeof block;
        in.read(reinterpret_cast<unsigned char*>(block), count);
        if (!in.failed())
            text.append(block, count);
        size -= count;
    }
    // The text must end with its only NUL, since a NUL inside would cut a C string.
    if (in.failed() || text.find('\0') != text.size() - 1) {
        in.setFailed();
        return;
    }
    text.pop_back();
    text_ = std::move(text);
}

void TRXString::write(NCostream& out) const {
    const size_t size = text_.size() + 1;
    out.write(static_cast<unsigned long>(size));
    out.write(reinterpret_cast<const unsigned char*>(str()), size);
}

void TRXString::printOn(NCostream& out) const { out.write("\"").write(str()).write("\""); }

int TRXString::compare(const NCObject* other) const {
    const auto* string = nc_cast<TRXString>(other);
    return string ? std::strcmp(str(), string->str()) : -1;
}
