// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "sim/tool/host.h"
#include "sim/tool/journal.h"
#include "sim/tool/machine.h"
#include "sim/tool/script.h"

namespace tarni::sim {

/*
 * Carries out a script while the program runs: what stands before the start, the
 * program, the rest, and then the wait for the program's end. One thread only.
 */
class Story {
 public:
  Story(Machine& machine, Host& host, Journal& journal)
      : machine_(machine), host_(host), journal_(journal) {}

  // folder: a place for temporary files. Returns the exit status. Throws Failure.
  int tell(const Script& script, const std::string& folder);

 private:
  using Clock = Host::Clock;
  struct LateDisks {
    std::string port;
    int count;
  };

  void start(const Script& script, const std::string& folder);
  void perform(const Step& step);
  void judge_what_is_left(const Script& script, std::size_t from);
  void run_until(Clock::time_point time);

  void act(const Step& step, const Attach& attach);
  void act(const Step& step, const Remove& removal);
  void act(const Step& step, const Notify& notification);
  void act(const Step& step, const AnswerRegister& answer);
  void act(const Step& step, const AnswerCurrent& answer);
  void act(const Step& step, const HangUp&);
  void act(const Step& step, const Start&);
  void act(const Step& step, const Stop&);
  void act(const Step& step, const Wait& wait);
  void act(const Step& step, const Say& say);
  void act(const Step& step, const Expect& expect);

  bool comes_in_time(const Expect& expect);
  void report_failure(const Step& step);
  std::string what_came() const;

  Machine& machine_;
  Host& host_;
  Journal& journal_;
  std::multimap<Clock::time_point, LateDisks> due_;
  std::size_t heard_ = 0;  // messages that had come when the last expectation ended
  bool failed_ = false;
};

}  // namespace tarni::sim
