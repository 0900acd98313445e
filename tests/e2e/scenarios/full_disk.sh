# A full file system under the results: each run ends with the file it
# could not write and puts back what was there; a full standard output too.
# full/ is a 64 KiB tmpfs in a private mount namespace with MOUNT=1, else a
# 64 KiB file size limit with SIGXFSZ ignored stands in for it.
. "$SCENARIOS/lib.sh"
if [ "$MOUNT" = 1 ]; then
  three_files; mkdir -p full
  exec unshare -m env MOUNT=inside sh "$0"
elif [ "$MOUNT" = inside ]; then
  mount -t tmpfs -o size=64k tmpfs full
else
  three_files; mkdir -p full; ulimit -f 128; trap "" XFSZ
fi
F=$(pwd)/full; E=$(pwd)/err
o() {
  "$OVRELL" "$@" 2>$E; echo "$* : $?"
  sed "s/: No space left on device//; s/: File too large//" $E; ls $F
}
echo old > full/dis_0
o -p p.txt -c full/res G
o -p p.txt -q -x -c res -d full/dis H G
cat full/dis_0
cd full && o -p ../p.txt -c ../res -d ../dis G
ls ..
"$OVRELL" -p ../p.txt G >/dev/full
true
