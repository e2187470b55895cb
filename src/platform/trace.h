// The trace of the program's calls, for its maintainers. It is off unless the environment variable
// DBUG holds a control string, a list of items separated by colons:
//
//   t        print a line on entry to and return from every traced function
//   d        print the trace lines that functions write
//   o,FILE   send the trace to FILE instead of the standard error stream
//
// Off, a frame costs one predictable branch.
#pragma once

namespace tolvane::trace {

extern bool calls_on;
extern bool lines_on;

// Takes over a control string.
void Push(const char* control);

// Writes one trace line, indented as deep as the calls go. Use TRACE_LINE.
[[gnu::format(printf, 1, 2)]] void Line(const char* format, ...);

// Stands for one call while it lives. Use TRACE_FRAME.
class Frame {
 public:
  Frame(const char* function, const char* file, int line) : function_(function) {
    if (calls_on) [[unlikely]]
      Enter(file, line);
  }
  ~Frame() {
    if (entered_) [[unlikely]]
      Leave();
  }
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

 private:
  void Enter(const char* file, int line);
  void Leave();

  const char* function_;
  bool entered_ = false;
};

}  // namespace tolvane::trace

#define TRACE_FRAME() const ::tolvane::trace::Frame trace_frame_(__func__, __FILE__, __LINE__)
#define TRACE_LINE(...)                          \
  do {                                           \
    if (::tolvane::trace::lines_on) [[unlikely]] \
      ::tolvane::trace::Line(__VA_ARGS__);       \
  } while (false)
