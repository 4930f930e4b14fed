// SPDX-License-Identifier: Apache-2.0
// Calls nothing.
int main() {}
