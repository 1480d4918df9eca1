#!/usr/bin/env bash
# Runs programs of the build on an emulated processor with AVX-512, for machines that have none. Each
# argument is a command line of its own.
#
#     scripts/emulate_avx512.sh build/x64/tests/transform/transform_tier_tests
#     scripts/emulate_avx512.sh "build/x86/tests/bilinear/bilinear_tier_tests --gtest_filter=*AVX512*Every*"
#     scripts/emulate_avx512.sh --tier AVX2 --processor corei7_skylake_x build/x64/tests/processors/every_entry
#
# Programs with GoogleTest run their cases with AVX512 in the name, or what a --gtest_filter of their own
# says. It fails when a case fails or is skipped, when a program does not start, or when no case ran. With --tier the programs are such that print the tier in their first line: it
# must be the one that is asked for, and all other lines must be what the program prints here.
#
#     --processor NAME   one of `bochs -help cpu`; corei3_cnl unless given, which has all that the
#                        tier asks for (corei7_skylake_x lacks byte permutes; Linux hangs on later ones)
#     --seconds N        the longest time that it may take, 1800 unless given
#
# Needs (Debian): bochs bochs-term bochsbios vgabios isolinux genisoimage busybox-static, and a kernel: the
# file that DIBPREP_KERNEL names, else that of linux-image-cloud-amd64, which is fetched once and unpacked,
# not installed. Everything it makes lies in build/avx512. The emulator runs some 50 million instructions a
# second and needs one minute to start, so that this is no part of ./test.sh.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() { sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "$0"; exit 2; }
fail() { echo "$*" >&2; exit 1; }

processor=corei3_cnl
seconds=1800
tier=
programs=()
while [ $# -gt 0 ]; do
    case $1 in
    --processor | --seconds | --tier)
        [ $# -ge 2 ] || usage
        printf -v "${1#--}" '%s' "$2"
        shift ;;
    -*) usage ;;
    *) programs+=("$1") ;;
    esac
    shift
done
[ ${#programs[@]} -gt 0 ] || usage

isolinux=/usr/lib/ISOLINUX/isolinux.bin
loader=/usr/lib/syslinux/modules/bios/ldlinux.c32
for needed in /usr/bin/bochs /usr/share/bochs/BIOS-bochs-latest /usr/share/bochs/VGABIOS-lgpl-latest \
    "$isolinux" "$loader" /usr/bin/genisoimage /bin/busybox; do
    [ -e "$needed" ] || fail "$needed is missing: see the head of this script for the packages"
done
ls /usr/lib/*/bochs/plugins/libbx_term_gui.so > /dev/null 2>&1 || fail "bochs-term is not installed"

# The kernel, kept for the next time.
mkdir -p build/avx512
kernel=${DIBPREP_KERNEL:-build/avx512/vmlinuz}
if [ ! -f "$kernel" ]; then
    package=$(apt-cache depends linux-image-cloud-amd64 | sed -n 's/^ *Depends: //p' | head -1)
    unpacked=$(mktemp -d build/avx512/kernel.XXXXXX)
    (cd "$unpacked" && apt-get download "$package" && dpkg-deb --fsys-tarfile ./*.deb | tar -x ./boot) > "$unpacked/log" 2>&1
    mv "$unpacked"/boot/vmlinuz-* "$kernel" || fail "no kernel: see $unpacked/log"
    rm -rf "$unpacked"
fi

work=$(mktemp -d "$PWD/build/avx512/run.XXXXXX")
emulator=
end() {
    [ -n "$emulator" ] && kill -9 "$emulator" 2> /dev/null
    rm -rf "$work"
}
trap end EXIT

# The root directory: programs and their libraries under the paths they have here, without debug information.
root=$work/root
mkdir -p "$root"/{bin,proc,dev,tmp}
cp /bin/busybox "$root/bin/"
for line in "${programs[@]}"; do
    program=$(realpath -e "${line%% *}") || exit 1
    libraries=$(ldd "$program" | grep -o '/[^ ]*') || fail "$program: its libraries are not there"
    for file in "$program" $libraries; do
        [ -e "$root$file" ] && continue
        mkdir -p "$root${file%/*}"
        strip -o "$root$file" "$file" || exit 1
    done
done

{
    cat << 'INIT'
#!/bin/busybox sh
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t devtmpfs dev /dev
/bin/busybox stty -onlcr < /dev/console
export GTEST_COLOR=no
INIT
    number=0
    for line in "${programs[@]}"; do
        program=$(realpath "${line%% *}")
        rest=
        [ "$line" = "${line%% *}" ] || rest=${line#* }
        [ -n "$tier" ] || rest="--gtest_filter=*AVX512* $rest"
        printf 'echo "BEGIN %d"; cd %q\nset -f; %q %s < /dev/null; echo "END %d $?"\n' \
            $number "$PWD" "$program" "$rest" $number
        number=$((number + 1))
    done
    echo 'echo ALLDONE; while true; do /bin/busybox sleep 1000; done'
} > "$root/init"
chmod +x "$root/init"
mkdir -p "$root$PWD" "$work/iso/boot/isolinux"
(cd "$root" && find . | cpio -o -H newc 2> /dev/null | gzip -1) > "$work/iso/boot/initrd.gz"
cp "$kernel" "$work/iso/boot/vmlinuz"
cp "$isolinux" "$loader" "$work/iso/boot/isolinux/"
# Left off: protection keys and compact saving of registers, which this emulator gets wrong.
cat > "$work/iso/boot/isolinux/isolinux.cfg" << 'CONFIG'
DEFAULT linux
PROMPT 0
LABEL linux
 KERNEL /boot/vmlinuz
 INITRD /boot/initrd.gz
 APPEND console=ttyS0 quiet noapic nolapic clearcpuid=515,323,321 acpi=off pci=conf1 mitigations=off nokaslr tsc=reliable lpj=4000000
CONFIG
genisoimage -quiet -o "$work/boot.iso" -b boot/isolinux/isolinux.bin -c boot/isolinux/boot.cat \
    -no-emul-boot -boot-load-size 4 -boot-info-table "$work/iso" || exit 1

cat > "$work/bochsrc" << CONFIG
cpu: model=$processor, count=1, ips=20000000
megs: 1024
romimage: file=/usr/share/bochs/BIOS-bochs-latest
vgaromimage: file=/usr/share/bochs/VGABIOS-lgpl-latest
ata0: enabled=1, ioaddr1=0x1f0, ioaddr2=0x3f0, irq=14
ata0-master: type=cdrom, path=$work/boot.iso, status=inserted
boot: cdrom
com1: enabled=1, mode=file, dev=$work/serial
display_library: term
log: $work/bochs.log
panic: action=report
CONFIG
echo c > "$work/continue"
: > "$work/serial"
: > "$work/errors"
# What the programs print comes by the serial line. The emulated screen is a terminal of its own, which
# somebody has to read, or the emulator waits.
TERM=xterm bochs-bin -q -f "$work/bochsrc" -rc "$work/continue" < /dev/null > "$work/terminal" 2> "$work/errors" &
emulator=$!
until screen=$(sed -n 's/^Bochs connected to screen "\(.*\)"$/\1/p' "$work/errors") && [ -n "$screen" ]; do
    kill -0 "$emulator" 2> /dev/null || { cat "$work/errors"; fail "the emulator did not start"; }
    sleep 0.2
done
dd if="$screen" iflag=noctty of=/dev/null status=none 2> /dev/null &

deadline=$((SECONDS + seconds))
until grep -q '^ALLDONE' "$work/serial"; do
    if ! kill -0 "$emulator" 2> /dev/null || [ $SECONDS -ge $deadline ]; then
        tail -20 "$work/serial" "$work/errors"
        cp "$work/serial" build/avx512/last_output
        fail "the emulator ended, or took more than $seconds seconds"
    fi
    sleep 2
done
kill -9 "$emulator"
wait "$emulator" 2> /dev/null
emulator=
tr -d '\r' < "$work/serial" > build/avx512/last_output

# What each program printed.
result=0
for number in "${!programs[@]}"; do
    output=$work/output.$number
    sed -n "/^BEGIN $number\$/,/^END $number /p" build/avx512/last_output | sed '1d' > "$output"
    status=$(sed -n "s/^END $number //p" "$output")
    sed -i '$d' "$output"
    if [ -n "$tier" ]; then
        { read -r there; cat > "$work/there"; } < "$output"
        eval "${programs[$number]}" | sed 1d > "$work/here"
        if [ "$status" = 0 ] && [ "$there" = "$tier" ] && [ -s "$work/here" ] && cmp -s "$work/here" "$work/there"; then
            echo "passed: ${programs[$number]}: $(wc -l < "$work/here") lines alike, tier $tier"
        else
            diff "$work/here" "$work/there" | head -20
            echo "FAILED: ${programs[$number]} ended with $status, tier $there"
            result=1
        fi
        continue
    fi
    ran=$(grep -c '^\[       OK \]' "$output")
    skipped=$(grep -c '^\[  SKIPPED \]' "$output")
    if [ "$status" = 0 ] && [ "$ran" -gt 0 ] && [ "$skipped" = 0 ]; then
        echo "passed: ${programs[$number]}: $ran cases"
    else
        grep -v '^\[\( RUN \|       OK\)' "$output" | head -60
        echo "FAILED: ${programs[$number]} ended with $status; $ran cases passed, $skipped skipped"
        result=1
    fi
done
exit $result
