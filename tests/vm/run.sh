# run.sh [TEST]    runs the tests in cases/, or the one of that name, each in a shell of its own that
# knows vocabulary.sh. Succeeds when at least one ran and none failed.
. /results/job
cases=$project/tests/vm/cases
export project build results=/results

seconds() {
    cut -d' ' -f1 /proc/uptime
}

run_one() {
    began=$(seconds)
    mkdir -p "/tmp/$1"
    # A session of its own, so that what it leaves running can be found and ended.
    (cd "/tmp/$1" && exec setsid timeout -k 5 "$limit" \
        sh -e -c '. "$project/tests/vm/vocabulary.sh"; . "$1"' "$1" "$cases/$1.sh") 2>&1 &
    leader=$!
    wait $leader
    status=$?
    kill -KILL -- -$leader 2>/dev/null
    took=$(echo "$began $(seconds)" | awk '{printf "%.1f", $2 - $1}')
    [ $status -eq 0 ] && echo "ok      $1 ($took s)" || echo "FAILED  $1 ($took s, status $status)"
    return $status
}

ran=0
failed=
for file in "$cases/"${1:-*}.sh; do
    name=$(basename "$file" .sh)
    if [ ! -f "$file" ]; then
        echo "vm: no such test: $name"
        exit 2
    fi
    ran=$((ran + 1))
    run_one "$name" || failed="$failed $name"
done
echo "vm: $ran tests, failed:${failed:- none}"
[ $ran -gt 0 ] && [ -z "$failed" ]
