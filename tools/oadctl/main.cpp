#include "oadctl/commands.h"
#include "orb/vorb.h"

#include <csignal>
#include <iostream>

namespace {

constexpr CORBA_ULong connectSeconds = 2; // with a longer limit a refused connection would be repeated

int fail(const std::string& message) {
    std::cerr << "oadctl: " << message << "\n";
    return 1;
}

// Starts the ORB with its options, which come before the command.
int startORB(int argc, char** argv) {
    const int before = wordsBeforeCommand(argc, argv);
    int left = before;
    CORBA_ORB_init(left, argv);
    TRXORB::current()->parse(left, argv, "-OA");
    std::copy(argv + before, argv + argc, argv + left);
    CORBA_BindOptions options;
    options.connectTimeout = connectSeconds;
    options.enableRebind = 0; // not to the daemon of another host
    CORBA_Object::_default_bind_options(options);
    return argc - (before - left);
}

int run(int argc, char** argv) {
    const Choice choice = readOptions(startORB(argc, argv), argv);
    if (choice.action == Choice::Action::help)
        std::cout << usage;
    else if (choice.action == Choice::Action::version)
        std::cout << "oadctl " OADCTL_VERSION "\n";
    else
        execute(choice, std::cout);
    return std::cout.flush() ? 0 : fail("cannot write the report");
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is reported like any other failure to write
    try {
        return run(argc, argv);
    } catch (const UsageError& error) {
        std::cerr << "oadctl: " << error.what() << "\n" << usage;
        return 1;
    } catch (const std::runtime_error& error) {
        return fail(error.what());
    }
}
