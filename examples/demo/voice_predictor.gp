# Draws voice prediction from the table of `voice_predictor --frames`.
# Set before: dir, the directory of the table and of the picture.
call "picture.gp" "voice_predictor" 1200 840
frames = dir."/voice_frames.dat"
quiet = 30 # dB below the loudest frame: no gain is drawn for weaker frames

stats frames using 1 nooutput name "T"
stats frames using (abs($2) > abs($3) ? abs($2) : abs($3)) nooutput name "A"
stats frames using 4 nooutput name "L"
step = (T_max - T_min) / (T_records - 1)
before = 6 # columns before the reflection coefficients
stages = (system("awk '!/^#/ { print NF; exit }' '".frames."'") - before) / 2
full = ceil(10 * A_max) / 10.0

unset key; set multiplot
set lmargin at screen 0.075; set rmargin at screen 0.92
set xrange [0:T_max + step / 2]
set xtics 0,2
set format x ""

set title "Voice (1 = full scale)" offset 0,-0.7
set tmargin at screen 0.955; set bmargin at screen 0.785
set yrange [-full:full]; set ytics 0.2
set ylabel "amplitude" offset 0.5
plot frames using 1:2:3 with filledcurves fillstyle solid 1.0 noborder linecolor rgb blue

set title "Reflection coefficients of the forward predictor"
set tmargin at screen 0.735; set bmargin at screen 0.43
set yrange [0.5:stages + 0.5]; set ytics 1
unset grid
set ylabel "stage"
set cbrange [-1:1]
set cbtics 0.5
set palette defined (-1 "#1d4068", -0.5 "#6b93bd", 0 "#ffffff", 0.5 "#dd9474", 1 "#8e3413")
set colorbox user origin screen 0.935,0.43 size screen 0.014,0.305
plot frames matrix every 1:1:before:0:(before + stages - 1) \
        using (T_min + $2 * step):($1 - before + 1):3 with image
unset colorbox

set title sprintf("Prediction gain over 20 ms (gaps: more than %d dB below the loudest frame)", quiet) offset -12,-0.7
set tmargin at screen 0.38; set bmargin at screen 0.075
set format x "%g"
set xlabel "time (s)" offset 0,0.5; set ylabel "prediction gain (dB)"
set yrange [-5:*]; set ytics 10
set grid ytics
set key at graph 1, graph 1.1 right horizontal samplen 1.5
loud(level, gain) = level > L_max - quiet ? gain : NaN
plot frames using 1:(loud($4, $6)) with lines linewidth 3.2 linecolor rgb "#e3a184" title "backward", \
     "" using 1:(loud($4, $5)) with lines linewidth 1.3 linecolor rgb green title "forward"

unset multiplot
