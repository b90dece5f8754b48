// A child with many behaviours: child BEHAVIOUR [ARGUMENT]…

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

int number(const Arguments& arguments, std::size_t index) {
  return index < arguments.size() ? std::atoi(arguments[index].c_str()) : 0;
}

bool put(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void sleepMsec(int msec) {
  poll(nullptr, 0, msec);
}

int sleeps() {
  put(STDOUT_FILENO, "ready");
  sleepMsec(60'000);
  return 0;
}

const std::map<std::string, std::function<int(const Arguments&)>> BEHAVIOURS = {
    // flood MIB: that much on both streams at once
    {"flood",
     [](const Arguments& arguments) {
       const std::string block(1 << 20, 'x');
       const auto write = [&](int fd) {
         for (int i = 0; i < number(arguments, 0); ++i) put(fd, block);
       };
       std::thread other(write, STDERR_FILENO);
       write(STDOUT_FILENO);
       other.join();
       return 0;
     }},
    // pieces TEXT…: each on its own, with a pause
    {"pieces",
     [](const Arguments& arguments) {
       for (const std::string& piece : arguments) {
         put(STDOUT_FILENO, piece);
         sleepMsec(150);
       }
       return 0;
     }},
    {"exit", [](const Arguments& arguments) { return number(arguments, 0); }},
    {"closes-and-lives",
     [](const Arguments&) {
       put(STDOUT_FILENO, "bye");
       for (int fd = 0; fd < 3; ++fd) close(fd);
       sleepMsec(300);
       return 7;
     }},
    {"grandchild",
     [](const Arguments&) {
       put(STDOUT_FILENO, "child ");
       if (fork() > 0) return 3;
       sleepMsec(300);
       put(STDOUT_FILENO, "grandchild");
       return 0;
     }},
    {"signal",
     [](const Arguments& arguments) {
       const rlimit none{};
       setrlimit(RLIMIT_CORE, &none);
       return raise(number(arguments, 0));
     }},
    {"ignores-sigterm",
     [](const Arguments&) {
       signal(SIGTERM, SIG_IGN);
       return sleeps();
     }},
    {"leaves-group",
     [](const Arguments&) {
       if (fork() == 0) {  // stays in it
         sleepMsec(60'000);
         return 0;
       }
       setpgid(0, getpgid(getppid()));
       return sleeps();
     }},
    {"sleeps", [](const Arguments&) { return sleeps(); }},
    // what it inherited
    {"state",
     [](const Arguments&) {
       std::string text = "descriptors";
       std::vector<int> open;
       DIR* folder = opendir("/proc/self/fd");
       while (const dirent* entry = readdir(folder))
         if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(folder))
           open.push_back(std::atoi(entry->d_name));
       closedir(folder);
       std::ranges::sort(open);
       for (const int fd : open) text += " " + std::to_string(fd);
       sigset_t mask;
       sigprocmask(SIG_SETMASK, nullptr, &mask);
       text += "; changed signals";
       for (int i = 1; i < NSIG; ++i) {
         struct sigaction action {};
         if (sigismember(&mask, i) == 1 || (sigaction(i, nullptr, &action) == 0 && action.sa_handler != SIG_DFL))
           text += " " + std::to_string(i);
       }
       text += getpgrp() == getpid() ? "; own group" : "; foreign group";
       text += "; nice " + std::to_string(getpriority(PRIO_PROCESS, 0));
       char here[4096];
       text += std::string("; in ") + (getcwd(here, sizeof here) ? here : "?");
       for (char** variable = environ; *variable; ++variable) text += std::string("; ") + *variable;
       put(STDOUT_FILENO, text);
       return 0;
     }},
};

}  // namespace

int main(int count, char** values) {
  const auto behaviour = BEHAVIOURS.find(count > 1 ? values[1] : "");
  return behaviour == BEHAVIOURS.end() ? 99 : behaviour->second(Arguments(values + 2, values + count));
}
