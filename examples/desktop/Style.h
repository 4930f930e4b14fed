#pragma once

/// Installs the style sheet of the demo's windows.
void useDemoStyle();
