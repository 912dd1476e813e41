# Draws echo cancellation from the tables of `echo_scene score` and `echo_canceller --levels`.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "echo_canceller" 1200 840
waves = dir."/echo_waveforms.dat"
start(field) = real(system(sprintf("cut -d' ' -f%d '%s/intervals.txt'", field, dir)))
both = start(1); nearalone = start(2); faragain = start(3) # s

unset key; set multiplot

# Who speaks, as background of all panels.
set object 1 rectangle from both, graph 0 to nearalone, graph 1 behind fillstyle solid noborder \
    fillcolor rgb "#f8e6dc"
set object 2 rectangle from nearalone, graph 0 to faragain, graph 1 behind fillstyle solid noborder \
    fillcolor rgb "#e4f0e8"

stats waves using 1 nooutput name "T"
stats waves using (abs($2) > abs($3) ? abs($2) : abs($3)) nooutput name "A"
stats waves using (abs($4) > abs($5) ? abs($4) : abs($5)) nooutput name "B"
full = ceil(10 * (A_max > B_max ? A_max : B_max)) / 10.0
end = ceil(T_max)
set lmargin at screen 0.075; set rmargin at screen 0.98
set xrange [0:end]; set yrange [-full:full]
set xtics 0,3; set ytics -0.5,0.5,0.5
set style fill solid 1.0 noborder
set format x ""

set label 1 "far end alone" at both / 2, graph 1.34 center textcolor rgb "#555555"
set label 2 "both ends" at (both + nearalone) / 2, graph 1.34 center textcolor rgb orange
set label 3 "near end" at (nearalone + faragain) / 2, graph 1.34 center textcolor rgb green
set label 4 "far end" at (faragain + end) / 2, graph 1.34 center textcolor rgb "#555555"
set title "Far end: the signal of the loudspeaker" offset 0,-0.7
set tmargin at screen 0.925; set bmargin at screen 0.79
plot waves using 1:2:3 with filledcurves linecolor rgb blue
unset label

set title "Microphone: echo of the far end, near-end voice and noise"
set ylabel "amplitude (1 = full scale)" offset 0.5
set tmargin at screen 0.745; set bmargin at screen 0.61
plot waves using 1:4:5 with filledcurves linecolor rgb grey

unset ylabel
set title "Output of the echo canceller"
set tmargin at screen 0.565; set bmargin at screen 0.43
plot waves using 1:6:7 with filledcurves linecolor rgb green

set format x "%g"
set xlabel "time (s)" offset 0,0.5; set ylabel "enhancement (dB)" offset 0.5
set title "Echo return loss enhancement (gaps: hardly any echo)"
set yrange [-5:*]; set ytics 10
set tmargin at screen 0.36; set bmargin at screen 0.075
set key at graph 0.005, graph 0.99 left top Left reverse samplen 1.5
last = 0
plot dir."/erle.dat" using 1:2 with linespoints linewidth 1.5 pointtype 7 pointsize 0.4 \
        linecolor rgb green title "over 100 ms", \
     dir."/echo_levels.dat" using 1:($4 > last ? (last = $4, -5) : NaN):(0):(2) with vectors \
        nohead linewidth 2.5 linecolor rgb orange title "copy to the foreground filter"

unset multiplot
