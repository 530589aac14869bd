// Tables of inputs and the texts that they must give.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "kb/common/Helpers.h"

namespace kbtest {

/// Calls `check` with the input and the text of each entry "input --> text". Entries end with the line or with ";;"; an
/// input may go on over several lines. "\n" and "\r" stand for line ends, "\s" for a blank at an end; a line that begins
/// with "//" is a remark.
template <class Check>
void ForEachAnswer(std::string_view table, const Check& check) {
  const auto plain = [](std::string_view text) {
    return kb::ReplaceAll(kb::ReplaceAll(kb::ReplaceAll(kb::Trim(text), "\\n", "\n"), "\\r", "\r"), "\\s", " ");
  };
  std::string entry;
  for (std::string_view line : kb::SplitLines(table)) {
    if (kb::Trim(line).starts_with("//")) continue;
    while (!line.empty()) {
      const size_t end = std::min(line.find(";;"), line.size());
      entry += std::string(kb::Trim(line.substr(0, end))) + " ";
      line.remove_prefix(std::min(end + 2, line.size()));
      const size_t arrow = entry.find("-->");
      if (arrow == std::string::npos) continue;
      check(plain(entry.substr(0, arrow)), plain(entry.substr(arrow + 3)));
      entry.clear();
    }
  }
  EXPECT_EQ(kb::Trim(entry), "") << "an input without its answer";
}

/// What `answer` gives for each input must be the text behind it.
template <class Answer>
void ExpectAnswers(const Answer& answer, std::string_view table) {
  ForEachAnswer(table, [&](const std::string& input, const std::string& expected) {
    EXPECT_EQ(answer(input), expected) << "input: " << input;
  });
}

/// The message of the exception that `work` raises, or nothing.
template <class Work>
std::string MessageOf(Work&& work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

}  // namespace kbtest
