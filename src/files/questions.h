// Questions that creating a file of any kind may ask.
#pragma once

#include <cstdint>
#include <string>

namespace tolvane {

[[nodiscard]] bool IsBlankName(const std::string& name);

// Asks for a missing name. 1 with the name typed; 0 in automatic mode, after `automatic_error`, or
// when none comes.
[[nodiscard]] int AskName(const char* question, const char* automatic_error, std::string& name);

// Asks for a missing number. -1 in automatic mode, after `automatic_error`, or when the user quits.
[[nodiscard]] std::int32_t AskNumber(const std::string& question,
                                     const std::string& automatic_error);

// Asks for the record size when it is below 1. 1 with the size that was typed; 0 when none comes,
// in automatic mode after a message.
[[nodiscard]] int AskRecordSize(std::int32_t& size);

// The kind of file that a directory is made for: their failures are worded differently.
enum class DirectoryFor { kIndexed, kFlat };

// Creates the directory part of `name`, when the user wants it. 0 when not, or after a message.
[[nodiscard]] int CreateDirectory(const std::string& name, DirectoryFor kind);

}  // namespace tolvane
