#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause
# manual.sh PROGRAM NAME PURPOSE: a manual page from what the program says to --help.
printf '.TH %s 1\n.SH NAME\n%s \\- %s\n.SH DESCRIPTION\n.nf\n' "$(echo "$2" | tr a-z A-Z)" "$2" "$3"
"$1" --help | sed -e 's/\\/\\\\/g' -e "s/\\b$(basename "$1")\\b/$2/g" -e 's/-/\\-/g' -e "s/^[.']/\\\\\&&/"
echo .fi
