#pragma once

#include <kj/async.h>

#include <exception>

#include "engine/Service.h"
#include "link/Wire.h"

namespace norvane::link {

inline void WriteAnswer(const engine::Service& service, wire::Answer::Builder to,
                        const std::exception_ptr& error) {
  to.setChange(service.Table().LastChange());
  if (error) WriteError(error, to.initError());
}

/// Answers at once: `action(params, results)` is the whole call.
template <class Context, class Action>
kj::Promise<void> AnswerAtOnce(const engine::Service& service, Context& context, Action action) {
  auto results = context.getResults();
  std::exception_ptr error;
  try {
    action(context.getParams(), results);
  } catch (...) {
    error = std::current_exception();
  }
  WriteAnswer(service, results.initAnswer(), error);
  return kj::READY_NOW;
}

}  // namespace norvane::link
