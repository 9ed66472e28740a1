#pragma once

#include <chrono>

class QComboBox;

namespace norvane::console::shared {
class MainBas;
}

// The pager types that the internet gateway offers, as the lists `cmbPagerType` of pages and wizards show
// them. The gateway is asked when a user first opens such a list; its reply stays for the run.
namespace norvane::support {

inline constexpr std::chrono::seconds PagerGatewayPatience{20};

/// Asks the gateway for its list and keeps the rows in `MainBas::PagerTypes`; fills `list`, unless it is
/// null. Returns when the gateway has answered; the user's input is dropped until then. False, after a box,
/// if there was no reply, an empty one, an HTTP error, or more than a list for a person can be.
bool LoadPagerTypes(console::shared::MainBas& bas, QComboBox* list,
                    std::chrono::milliseconds patience = PagerGatewayPatience);

/// Adds an entry for each row that `MainBas` has. Selects nothing.
void FillPagerTypes(const console::shared::MainBas& bas, QComboBox& list);

/// What `cmbPagerType_DropDown` does in all forms: fills an empty list, and asks the gateway if need be.
void OpenPagerTypes(console::shared::MainBas& bas, QComboBox& list);

}  // namespace norvane::support
