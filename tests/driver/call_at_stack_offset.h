#pragma once

#include "tests/driver/driver_module.h"

/// Calls the driver with the stack pointer `offset` bytes below a multiple of 16, a multiple of 4
/// of the test's choice, as old hosts do. 32-bit Windows only.
extern "C" LRESULT QivmCallAtStackOffset(qivm::test::DriverProcFunction function, unsigned offset,
                                         const LPARAM* arguments);
