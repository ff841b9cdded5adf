#!/bin/sh
# Compiles the board's model as a kernel would, without headers and floating point: it needs memcpy and memset only, and
# plays a wandering board to the byte as an ordinary build of the same files does.
# Usage: freestanding.sh COMPILER ROOT
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
set -eu
compiler=$1 root=$2
program=$root/tests/unit/board/model/sameBytes.c
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for source in "$root"/board/model/*.c; do
    "$compiler" -std=gnu11 -O2 -ffreestanding -nostdinc -mgeneral-regs-only -fno-stack-protector -Wall -Werror \
        -fno-pie -Wframe-larger-than=2048 -DBOARD_FREESTANDING -I"$root" -c "$source" -o "$work/$(basename "$source" .c).o"
done
ld -r -o "$work/whole.o" "$work"/*.o
needed=$(nm -u "$work/whole.o" | awk '{print $2}' | sort | tr '\n' ' ')
echo "needs: $needed"
test "$needed" = "memcpy memset "
"$compiler" -std=gnu11 -no-pie -I"$root" "$program" "$work/whole.o" -o "$work/freestanding"
"$compiler" -std=gnu11 -O0 -I"$root" "$program" "$root"/board/model/*.c -o "$work/ordinary"
"$work/freestanding" >"$work/first"
"$work/ordinary" >"$work/second"
echo "plays: $(wc -l <"$work/first") lines"
test -s "$work/first"
cmp "$work/first" "$work/second"
