# What a stream costs next to v4l2-ctl, which converts nothing; figures only, but for the grossest waste
# where the library converts nothing either. Sanitizers have their own price.
limit=4
[ "$(basename "$build")" != asan ] || limit=0
start_camera one
library_cost ir "$(node_of GREY)" GREY --limit $limit
library_cost depth "$(node_of Z16)" 'Z16 '
library_cost color "$(node_of YUYV)" YUYV
