// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Installs the style sheet of the demo's windows.
void useDemoStyle();
