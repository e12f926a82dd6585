#include "tests/support/run_program.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

extern char** environ;

namespace vantrel_can_bridge::test {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

void check(int error, const char* what) {
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), what);
  }
}

File temporary_file() {
  File file(std::tmpfile());
  check(file ? 0 : errno, "tmpfile");
  return file;
}

std::string content(std::FILE* file) {
  std::rewind(file);
  std::string text;
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file)) {
    text.append(buffer, count);
  }
  return text;
}

pid_t start(const std::string& path, const std::vector<std::string>& arguments, int out, int err) {
  std::vector<std::string> words{path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  check(posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
  pid_t child = -1;
  const int error = posix_spawn(&child, path.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  check(error, path.c_str());
  return child;
}

/// The exit code of `child` once it has ended.
int wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    check(errno == EINTR ? 0 : errno, "waitpid");
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Adds what is there to `text`, waiting for it; false at the end of the file.
bool read_some(int file, std::string& text) {
  char buffer[4096];
  const ssize_t count = read(file, buffer, sizeof buffer);
  text.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
  return count > 0;
}

}  // namespace

ProgramRun run_program(const std::string& path, const std::vector<std::string>& arguments) {
  const File out = temporary_file();
  const File err = temporary_file();
  const int exit_code = wait_for(start(path, arguments, fileno(out.get()), fileno(err.get())));
  return {exit_code, content(out.get()), content(err.get())};
}

ProgramRun interrupt_program(const std::string& path, const std::vector<std::string>& arguments,
                             const std::string& until) {
  const File err = temporary_file();
  int out[2];
  check(pipe2(out, O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
  const pid_t child = start(path, arguments, out[1], fileno(err.get()));
  close(out[1]);
  ProgramRun program;
  while (program.out.find(until) == std::string::npos && read_some(out[0], program.out)) {
  }
  kill(child, SIGINT);
  while (read_some(out[0], program.out)) {
  }
  close(out[0]);
  program.exit_code = wait_for(child);
  program.err = content(err.get());
  return program;
}

}  // namespace vantrel_can_bridge::test
