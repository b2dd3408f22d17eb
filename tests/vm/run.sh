# run.sh [TEST...]    runs the tests in cases/, or those of these names (patterns too), each in a
# shell of its own that knows vocabulary.sh. The output of each is kept in /results/NAME.log and shown
# when it fails; figures are shown always. Succeeds when at least one ran and none failed.
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
        sh -e -c '. "$project/tests/vm/vocabulary.sh"; . "$1"' "$1" "$cases/$1.sh") \
        >"/tmp/$1.log" 2>&1 &
    leader=$!
    wait $leader
    status=$?
    kill -KILL -- -$leader 2>/dev/null
    took=$(echo "$began $(seconds)" | awk '{printf "%.1f", $2 - $1}')
    [ $status -eq 0 ] && verdict="ok      $1 ($took s)" || verdict="FAILED  $1 ($took s, status $status)"
    if [ $status -eq 0 ]; then
        sed -n 's/^figure: /        /p' "/tmp/$1.log"
    else
        tail -n 60 "/tmp/$1.log"
    fi
    echo "$verdict"
    cp "/tmp/$1.log" "/results/$1.log"
    echo "$verdict" >>/results/verdicts
    return $status
}

ran=0
failed=
[ $# -gt 0 ] || set -- '*'
for pattern in "$@"; do
    for file in "$cases/"$pattern.sh; do
        name=$(basename "$file" .sh)
        ran=$((ran + 1))
        run_one "$name" || failed="$failed $name"
    done
done
echo "vm: $ran tests, failed:${failed:- none}"
[ $ran -gt 0 ] && [ -z "$failed" ]
