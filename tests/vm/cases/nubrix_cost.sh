# What a stream costs beside v4l2-ctl, which converts nothing; figures only, but for the grossest waste.
start_camera one
library_cost ir "$(node_of GREY)" GREY --limit 3
library_cost depth "$(node_of Z16)" 'Z16 '
library_cost color "$(node_of YUYV)" YUYV
