#pragma once

#include <QObject>

#include "console/shared/MainBas.h"

namespace norvane::console::shared {

/// Connects a signal with a handler of a form, through `MainBas::RunHandler`. The handler has the signal's
/// first argument or none.
template <class Sender, class Signal, class Form>
void ConnectHandler(MainBas& bas, const Sender* sender, Signal signal, Form* form, void (Form::*handler)()) {
  QObject::connect(sender, signal, form,
                   [&bas, form, handler] { bas.RunHandler([form, handler] { (form->*handler)(); }); });
}

template <class Sender, class Signal, class Form, class Argument>
void ConnectHandler(MainBas& bas, const Sender* sender, Signal signal, Form* form,
                    void (Form::*handler)(Argument)) {
  QObject::connect(sender, signal, form, [&bas, form, handler](Argument argument) {
    bas.RunHandler([form, handler, &argument] { (form->*handler)(argument); });
  });
}

}  // namespace norvane::console::shared
