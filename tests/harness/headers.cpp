// SPDX-License-Identifier: BSD-2-Clause
// Nothing but the options that the test programs' precompiled headers are made with.
int main() {
}
