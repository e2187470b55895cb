#include "support/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tolvane::test {
namespace {

struct Pipe {
  int read_end = -1, write_end = -1;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    read_end = ends[0];
    write_end = ends[1];
  }
  ~Pipe() {
    CloseRead();
    CloseWrite();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void CloseRead() { Close(read_end); }
  void CloseWrite() { Close(write_end); }

 private:
  static void Close(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
  }
};

[[noreturn]] void BecomeProgram(const std::string& program, const ProgramRun& run,
                                std::vector<std::string>& environment, Pipe& in, Pipe& out,
                                Pipe& err) {
  std::vector<std::string> words{program};
  words.insert(words.end(), run.arguments.begin(), run.arguments.end());
  std::vector<char*> argv, envp;
  for (auto& word : words) argv.push_back(word.data());
  for (auto& line : environment) envp.push_back(line.data());
  argv.push_back(nullptr);
  envp.push_back(nullptr);
  if (run.closed_input) {
    close(0);
  } else {
    dup2(in.read_end, 0);
  }
  dup2(out.write_end, 1);
  dup2(err.write_end, 2);
  if (!run.directory.empty() && chdir(run.directory.c_str()) != 0) _exit(126);
  execve(program.c_str(), argv.data(), envp.data());
  _exit(127);
}

// Feeds standard input and collects both outputs until they end or the time is up.
void Converse(const ProgramRun& run, Pipe& in, Pipe& out, Pipe& err, ProgramResult& result) {
  const auto end = std::chrono::steady_clock::now() + run.limit;
  std::size_t typed = 0;
  fcntl(in.write_end, F_SETFL, O_NONBLOCK);
  if (run.typed.empty()) in.CloseWrite();
  while (out.read_end >= 0 || err.read_end >= 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timed_out = true;
      return;
    }
    std::array<pollfd, 3> waits{pollfd{out.read_end, POLLIN, 0}, pollfd{err.read_end, POLLIN, 0},
                                pollfd{in.write_end, POLLOUT, 0}};
    poll(waits.data(), waits.size(), static_cast<int>(left.count()));
    const auto collect = [](Pipe& pipe, short events, std::string& text) {
      if (events == 0) return;
      char buffer[65536];
      const ssize_t got = read(pipe.read_end, buffer, sizeof buffer);
      if (got > 0) {
        text.append(buffer, static_cast<std::size_t>(got));
      } else {
        pipe.CloseRead();
      }
    };
    collect(out, waits[0].revents, result.out);
    collect(err, waits[1].revents, result.err);
    if (waits[2].revents != 0) {
      const ssize_t put = write(in.write_end, run.typed.data() + typed, run.typed.size() - typed);
      if (put > 0) typed += static_cast<std::size_t>(put);
      if (put < 0 || typed == run.typed.size()) in.CloseWrite();
    }
  }
}

}  // namespace

ProgramResult RunProgram(const std::string& program, const ProgramRun& run) {
  std::map<std::string, std::string> variables{
      {"PATH", "/usr/bin:/bin"}, {"LANG", "C"}, {"TZ", "UTC"}};
  for (const auto& [name, value] : run.environment) variables[name] = value;
  std::vector<std::string> environment;
  environment.reserve(variables.size());
  for (const auto& [name, value] : variables) environment.push_back(name + "=" + value);

  signal(SIGPIPE, SIG_IGN);
  Pipe in, out, err;
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    signal(SIGPIPE, SIG_DFL);
    BecomeProgram(program, run, environment, in, out, err);
  }
  in.CloseRead();
  out.CloseWrite();
  err.CloseWrite();

  ProgramResult result;
  Converse(run, in, out, err, result);
  if (result.timed_out) kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

ProgramResult RunTolvane(const std::string& directory, std::vector<std::string> arguments,
                         const std::string& typed) {
  ProgramRun run;
  run.arguments = std::move(arguments);
  run.typed = typed;
  run.directory = directory;
  return RunProgram(BuiltProgram("tolvane"), run);
}

std::string BuiltProgram(const std::string& name) { return TOLVANE_BINARY_DIR "/" + name; }

}  // namespace tolvane::test
