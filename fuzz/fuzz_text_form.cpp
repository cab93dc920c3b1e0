// The input is the text form of an object, and also read as strings and numbers.

#include "fuzzing.h"

#include "stream/ncstream.h"

#include <memory>
#include <sstream>
#include <string>

namespace {

std::unique_ptr<NCTransObject> decode(const std::string& text) {
    std::istringstream from(text);
    NCistream in(from);
    return std::unique_ptr<NCTransObject>(in.readObject());
}

std::string encode(const NCTransObject* object) {
    std::ostringstream to;
    NCostream out(to);
    out.writeObject(object);
    return to.str();
}

// A string that could be read has to come back from its own text form.
void readStrings(const std::string& input) {
    std::istringstream from(input);
    NCistream in(from);
    for (int i = 0; i < 8 && !in.failed(); ++i) {
        std::string text;
        in.getText(text);
        if (in.failed() || text.find('\0') != std::string::npos)
            continue;
        std::ostringstream to;
        NCostream(to).write(text.c_str());
        std::istringstream back(to.str());
        char* again = nullptr;
        NCistream(back).read(again);
        require(again && text == again, "a string survives its text form");
        delete[] again;
    }
}

void readValues(const std::string& input) {
    std::istringstream from(input);
    NCistream in(from);
    char buffer[16] = {};
    short shortValue = 0;
    unsigned char octet = 0;
    double real = 0;
    char* text = nullptr;
    in.read(shortValue).read(octet).read(real).read(text).getCString(buffer, sizeof buffer);
    delete[] text;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silenceComplaints();
    const std::string input(reinterpret_cast<const char*>(data), size);
    readStrings(input);
    readValues(input);
    const auto object = decode(input);
    if (!object)
        return 0;
    const std::string first = encode(object.get());
    const auto again = decode(first);
    require(again != nullptr, "what was decoded and encoded again can be decoded");
    require(mayChangeOrder(first) || first == encode(again.get()), "decoding keeps every field");
    return 0;
}
