#!/bin/sh
# Compiles the board's model without headers and lists its undefined symbols: memcpy and memset, no floating point.
# Usage: freestanding.sh COMPILER ROOT
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
set -eu
compiler=$1 root=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for source in "$root"/board/model/*.c; do
    "$compiler" -std=gnu11 -O2 -ffreestanding -nostdinc -mgeneral-regs-only -fno-stack-protector -Wall -Werror \
        -Wframe-larger-than=2048 -DBOARD_FREESTANDING -I"$root" -c "$source" -o "$work/$(basename "$source" .c).o"
done
ld -r -o "$work/whole.o" "$work"/*.o
needed=$(nm -u "$work/whole.o" | awk '{print $2}' | sort | tr '\n' ' ')
echo "needs: $needed"
test "$needed" = "memcpy memset "
