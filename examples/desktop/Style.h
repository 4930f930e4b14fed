#pragma once

/// How the demo's own windows look.
void useDemoStyle();
