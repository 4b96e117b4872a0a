# Writes to the file $1 what this program inherited: signal masks, PATH, directory, umask, QX_OTHER and descriptors.
# Reads the signal masks first, because the shell itself blocks signals while it starts another program.
while read -r line; do
    case $line in SigBlk* | SigIgn*) found="$found$line, " ;; esac
done </proc/$$/status
found="$found$PATH:$PWD:$(umask):$QX_OTHER,"
found="$found $(readlink /proc/$$/fd/0) $(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2)"
number=3
while [ $number -lt 1024 ]; do
    # Skip the descriptor through which the shell reads this script.
    [ ! -e /proc/$$/fd/$number ] || [ /proc/$$/fd/$number -ef "$0" ] || found="$found $number"
    number=$((number + 1))
done
echo "$found" >"$1"
exit 3
