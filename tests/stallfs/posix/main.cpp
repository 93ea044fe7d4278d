// vxc-stallfs [--writable] BACKING MOUNTPOINT CONTROL - shows the folder BACKING at MOUNTPOINT, where nothing
// can be written without --writable, and makes operations wait or fail as the socket CONTROL says
// (StallRules.h). vxc-stallfs --tell CONTROL WORD... - sends one order to a running one and prints the
// answer.
//
// It prints "ready" once the mount stands, and goes with its mount when it is told "quit", at SIGINT, SIGTERM
// or SIGHUP, or when its standard input ends: so it never outlives whoever holds the other end.
//
// Exit codes: 0 all is well, 1 an order failed or nobody answers, 2 wrong usage, 3 it cannot be mounted here.
#include "../StallRules.h"
#include "Control.h"
#include "Mirror.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kExitNoMount = 3;

std::string g_mountPoint; // set before the first thread starts
std::string g_control;

[[noreturn]] void End() {
    ::unlink(g_control.c_str());
    stallfs::TakeAway(g_mountPoint);
    // With the descriptor of the mount the kernel ends what still waits in it.
    ::_exit(0);
}

void EndIt() {
    End();
}

void SayReady() {
    std::puts("ready");
    std::fflush(stdout);
}

int Tell(int argc, char** argv) {
    std::string order = argv[3];
    for (int i = 4; i < argc; ++i) {
        order += ' ';
        order += argv[i];
    }
    const std::string answer = stallfs::SendOrder(argv[2], order);
    if (!answer.empty()) {
        std::puts(answer.c_str());
    }
    const bool good = order == "quit" || (!answer.empty() && !answer.starts_with("error"));
    return good ? 0 : 1;
}

std::string Whole(const char* name) {
    char* const whole = ::realpath(name, nullptr);
    std::string text = whole == nullptr ? name : whole;
    std::free(whole);
    return text;
}

int Serve(char** argv, bool isWritable) {
    g_mountPoint = Whole(argv[2]);
    g_control = argv[3];
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // of all threads to come, too
    std::signal(SIGPIPE, SIG_IGN);

    static auto* const rules = new stallfs::StallRules; // threads use it until the very end
    std::string reason;
    if (!stallfs::ServeControl(g_control, *rules, EndIt, reason)) {
        std::fprintf(stderr, "vxc-stallfs: %s: %s\n", g_control.c_str(), reason.c_str());
        return 1;
    }
    std::thread([ends] {
        int number = 0;
        sigwait(&ends, &number);
        End();
    }).detach();
    std::thread([] {
        char byte = 0;
        while (::read(STDIN_FILENO, &byte, 1) > 0) {
        }
        End();
    }).detach();
    const bool served = stallfs::ServeMirror(Whole(argv[1]), g_mountPoint, isWritable, *rules, SayReady);
    ::unlink(g_control.c_str());
    ::_exit(served ? 0 : kExitNoMount); // the other threads still use what an ordinary end would take away
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && std::string(argv[1]) == "--tell") {
        return Tell(argc, argv);
    }
    const bool isWritable = argc > 1 && std::string(argv[1]) == "--writable";
    if (argc - (isWritable ? 1 : 0) != 4) {
        std::fputs("usage: vxc-stallfs [--writable] BACKING MOUNTPOINT CONTROL\n"
                   "       vxc-stallfs --tell CONTROL ORDER...\n",
                   stderr);
        return 2;
    }
    return Serve(isWritable ? argv + 1 : argv, isWritable);
}
