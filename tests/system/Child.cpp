// A child that reports what it inherited, or sleeps ("sleeps"), or leaves its process group and then sleeps
// ("leaves-group").

#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string state() {
  std::string text = "descriptors";
  std::vector<int> open;
  DIR* folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder))
    if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(folder)) open.push_back(std::atoi(entry->d_name));
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
  return text;
}

}  // namespace

int main(int count, char** values) {
  const std::string behaviour = count > 1 ? values[1] : "";
  if (behaviour.empty()) {
    std::fputs(state().c_str(), stdout);
    return 0;
  }
  if (behaviour == "leaves-group") {
    if (fork() == 0) return sleep(60) > 0;  // stays in it
    setpgid(0, getpgid(getppid()));
  }
  std::fputs("ready", stdout);
  std::fflush(stdout);
  return sleep(60) > 0;
}
