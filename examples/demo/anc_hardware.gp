# Draws active noise control on hardware from the tables of `anc_hardware`.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "anc_hardware" 1200 860
levels = dir."/anc_levels.dat"

set multiplot
set lmargin at screen 0.075; set rmargin at screen 0.98

# The control, over the whole time.
set title "Residual at the error microphone; control begins at 1 s" offset 0,-0.3
set tmargin at screen 0.955; set bmargin at screen 0.57
stats levels using 1 nooutput name "T"
set xrange [0:ceil(T_max)]; set yrange [-70:0]; set ytics 10
set xlabel "time (s)"; set ylabel "level (dB re full scale)"
set key at graph 0.98, graph 0.7
plot levels using 1:2 with lines linewidth 1.6 linecolor rgb grey title "no control", \
     "" using 1:3 with lines linewidth 3 linecolor rgb blue title "filtered-x LMS (fxlms64f)", \
     "" using 1:4 with lines linewidth 1.2 linecolor rgb orange title "adjoint LMS (adjlms64f)"

# The path.
set title "Secondary path, identified with white noise before the control"
set rmargin at screen 0.475
set tmargin at screen 0.44; set bmargin at screen 0.09
set autoscale x; set autoscale y
stats dir."/anc_estimate.dat" using 2 nooutput name "E"
set xrange [-1:64]; set yrange [E_min - 0.1:E_max + 0.1]; set ytics auto
set xlabel "delay (samples of 0.25 ms)"; set ylabel "coefficient of the estimate"
unset key
set arrow 1 from 0, E_max / 2 to E_index_max, E_max / 2 heads size 1,20 linecolor rgb orange
set label 1 "latency of the loop\nand travel time" at E_index_max / 2, E_max / 2 + 0.13 \
    center textcolor rgb orange
plot dir."/anc_estimate.dat" using 1:2 with impulses linewidth 2 linecolor rgb "#c9c9c9", \
     "" using 1:2 with points pointtype 7 pointsize 0.7 linecolor rgb blue
unset arrow; unset label

# Two mistakes.
set title "Two mistakes (fxlms64f); the host stops when it has diverged"
set lmargin at screen 0.56; set rmargin at screen 0.98
set xrange [0.8:1.8]; set yrange [-70:10]; set ytics 10; set xtics 0.2
set xlabel "time (s)"; set ylabel "level (dB re full scale)"
set label 1 "estimate shorter than the latency" at 1.15, -3 textcolor rgb green
set label 2 "step ten times as large" at 1.4, -7.5 textcolor rgb orange
set label 3 "as above" at 1.44, -40 textcolor rgb blue
set label 4 "no control" at 1.79, -14.5 right textcolor rgb "#707070"
plot levels using 1:2 with lines linewidth 1.6 linecolor rgb grey, \
     levels using 1:3 with lines linewidth 1.6 linecolor rgb blue, \
     dir."/anc_large_step.dat" using 1:3 with linespoints pointtype 7 pointsize 0.5 linewidth 2 \
        linecolor rgb orange, \
     dir."/anc_short_estimate.dat" using 1:3 with linespoints pointtype 7 pointsize 0.5 linewidth 2 \
        linecolor rgb green
unset multiplot
