# Draws noise cancellation from the tables of `noise_scene score`.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "noise_canceller" 1200 900
waves = dir."/waveforms.dat"

unset key; set multiplot

# Three waveforms with the same time and amplitude axes.
stats waves using 1 nooutput name "T"
stats waves using (abs($4) > abs($5) ? abs($4) : abs($5)) nooutput name "A"
full = ceil(10 * A_max) / 10.0
set lmargin at screen 0.075; set rmargin at screen 0.98
set xrange [0:T_max]; set yrange [-full:full]; set ytics -0.5,0.5,0.5
set style fill solid 1.0 noborder

set format x ""
set title "Voice without noise" offset 0,-0.7
set tmargin at screen 0.955; set bmargin at screen 0.825
plot waves using 1:2:3 with filledcurves linecolor rgb blue

set title "Primary microphone: voice and fan noise"
set ylabel "amplitude (1 = full scale)" offset 0.5
set tmargin at screen 0.785; set bmargin at screen 0.655
plot waves using 1:4:5 with filledcurves linecolor rgb grey

unset ylabel
set format x "%g"
set xlabel "time (s)" offset 0,0.5
set title "Output: error of the adaptive filter"
set tmargin at screen 0.615; set bmargin at screen 0.485
plot waves using 1:6:7 with filledcurves linecolor rgb green

set title "Acoustic path to the primary microphone, and its estimate" offset 0,-0.5
set lmargin at screen 0.075; set rmargin at screen 0.48
set tmargin at screen 0.375; set bmargin at screen 0.075
set xrange [-1:32]
set autoscale y
set xtics 0,4; set ytics auto
set offsets 0,0,0.08,0.08
set xlabel "tap (samples of delay)"; set ylabel "coefficient"
set key top right samplen 1.5
plot dir."/taps.dat" using 1:2 with impulses linewidth 2 linecolor rgb "#c9c9c9" notitle, \
     "" using 1:2 with points pointtype 6 pointsize 1.5 linewidth 1.5 linecolor rgb blue \
        title "acoustic path", \
     "" using 1:3 with points pointtype 7 pointsize 0.6 linecolor rgb orange \
        title "adaptive filter after the last sample"

set title "Residual noise over 50 ms; the fan pauses for 0.7 s" offset 0,-0.5
set lmargin at screen 0.575; set rmargin at screen 0.98
set offsets 0,0,0,0
set xrange [0:T_max]
set xtics auto
set yrange [*:60]; set ytics -60,20,20
set xlabel "time (s)"; set ylabel "level (dB re first second)"
set key top right samplen 1.5
plot dir."/learning.dat" using 1:3 with lines linewidth 1.3 linecolor rgb orange \
        title "adapting in the pauses, too", \
     "" using 1:2 with lines linewidth 1.3 linecolor rgb green title "adapting while the fan runs"

unset multiplot
