// Serves the object that bench-echo-client measures, on loopback, until SIGTERM. Prints its reference.

#include "bench_echo_skel.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

namespace {

class EchoServant : public _sk_BenchEcho::_sk_Echo {
public:
    void null() override {}
    BenchEcho::Octets* give(const BenchEcho::Octets& data) override { return new BenchEcho::Octets(data); }
    void turn(BenchEcho::Items&) override {}
    void take(const BenchEcho::Octets&) override {}
    void post(CORBA::Long number) override { posted_ += number; }
    CORBA::Long posted() override { return posted_; }

private:
    CORBA::Long posted_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> words(argv, argv + argc);
    std::string option = "-OAipaddr", loopback = "127.0.0.1";
    const auto isAddress = [&option](const char* word) { return option == word; };
    if (std::none_of(words.begin(), words.end(), isAddress))
        words.insert(words.end(), {option.data(), loopback.data()});
    int count = static_cast<int>(words.size());
    words.push_back(nullptr);
    try {
        const CORBA::ORB_var orb = CORBA::ORB_init(count, words.data());
        const CORBA::BOA_var boa = orb->BOA_init(count, words.data());
        const BenchEcho::Echo_var echo = new EchoServant;
        boa->obj_is_ready(echo);
        const CORBA::String_var reference = orb->object_to_string(echo);
        std::cout << reference << std::endl;
        boa->impl_is_ready();
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << "bench-echo-server: " << exception << std::endl;
        return 1;
    }
}
