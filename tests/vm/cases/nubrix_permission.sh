# A user who may not open the nodes gets advice; a member of their group may.
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
# What udev makes of the rule that the project brings.
cp "$project/packaging/70-nubrix.rules" /etc/udev/rules.d/
trap 'rm /etc/udev/rules.d/70-nubrix.rules; sed -i "s/^\(video:.*\)visitor/\1/" /etc/group; end_cameras' EXIT
udevadm control --reload
node=$(node_of Z16)
udevadm test "/sys/class/video4linux/${node##*/}" >tested 2>&1
expect_text '70-nubrix.rules.* GROUP ' tested
expect_text '70-nubrix.rules.* MODE 0660' tested
nubrix doctor >report
expect_text '^good *udev rule */etc/udev/rules.d/70-nubrix.rules' report
