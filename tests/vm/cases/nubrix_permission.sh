# A user who may not open the nodes is told what to do; a member of their group may.
start_camera one
status=0
su visitor -s /bin/sh -c "PATH=$PATH nubrix stream --streams depth --frames 2" >refused 2>&1 ||
    status=$?
[ $status -eq 1 ] || fail "status $status: $(cat refused)"
cat refused
expect_text 'group video' refused
sed -i 's/^video:.*/&visitor/' /etc/group
trap 'sed -i "s/^\(video:.*\)visitor/\1/" /etc/group; end_cameras' EXIT
su visitor -s /bin/sh -c "PATH=$PATH nubrix stream --streams depth --frames 2"
