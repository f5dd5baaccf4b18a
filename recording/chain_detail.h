#pragma once

#include "numora/foundation/records.h"
#include "numora/transforms/window.h"
#include "recording/spectrum.h"

// Private pieces shared by the averaged analyses: the library's enums for
// the layer's choices, and a prepared-window record that frees its table.

namespace numora {
namespace rec {
namespace detail {

QV_ACQFRAME_WINTYPE LibraryWindow(Window window);
QV_ACQFRAME_AVGMODE LibraryMode(Averaging averaging);

// A QV_WIND_SETUP that starts cleared and frees its table when destroyed.
struct WindowRecord {
    QV_WIND_SETUP setup{};
    WindowRecord() = default;
    ~WindowRecord();
    WindowRecord(const WindowRecord&) = delete;
    WindowRecord& operator=(const WindowRecord&) = delete;
};

}  // namespace detail
}  // namespace rec
}  // namespace numora
