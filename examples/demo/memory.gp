# gnuplot -c memory.gp <folder> <result.png>
# What the pools owned and what of it was in use, over the time of the logged run: a panel for each kind.
folder = ARG1
data = folder.'/memory.tsv'
phases = folder.'/phases.tsv'
MiB = 1048576.0

set terminal pngcairo size 1500, 1000 font 'DejaVu Sans,12' background '#fbfaf7'
set output ARG2

array title[3] = ['Heap (64-byte aligned)', 'MMZ', 'Shared']
array full[3] = ['#2f62a8', '#c8641c', '#2b8a52']
array light[3] = ['#b9cbe6', '#f1cfb4', '#b5dcc5']

n_phases = int(system(sprintf("wc -l < '%s'", phases)))
phase_at(i) = real(system(sprintf("awk -F'\\t' 'NR == %d {print $1 * 1000}' '%s'", i, phases)))
phase_name(i) = system(sprintf("awk -F'\\t' 'NR == %d {print $2}' '%s'", i, phases))

set multiplot
set lmargin at screen 0.075
set rmargin at screen 0.985
set border 3 linecolor rgb '#888888'
set tics nomirror textcolor rgb '#444444' out scale 0.6
set grid ytics linetype 1 linewidth 0.6 linecolor rgb '#dddad2'
t_end = phase_at(n_phases)
set xrange [0:(t_end > 0 ? t_end : 1)]
set ylabel 'MiB' textcolor rgb '#444444' offset 0.5
set style fill solid 1 noborder

set label 1 'What the library owns, and what of it is in use: a run of camera and viewer' at screen 0.075, 0.968 \
    font 'DejaVu Sans Bold,16' textcolor rgb '#222222'

top = 0.852; panel = 0.233; between = 0.032
do for [k = 1:3] {
    set tmargin at screen top - (k - 1) * (panel + between)
    set bmargin at screen top - (k - 1) * (panel + between) - panel
    owned = 2 * k
    used = 2 * k + 1
    set yrange [*:*]  # or stats would look only at what the last panel's range lets through
    stats data using (column(owned) / MiB) nooutput
    set yrange [0:(STATS_max > 0 ? STATS_max * 1.28 : 1)]
    set format x (k == 3 ? '%g' : '')
    set xlabel (k == 3 ? 'milliseconds' : '') textcolor rgb '#444444'
    set label 2 title[k] at graph 0.008, graph 0.91 font 'DejaVu Sans Bold,13' textcolor rgb full[k] front
    do for [i = 1:n_phases] {
        # On two levels, for phases that are close together.
        level = i % 2 ? 1.17 : 1.07
        set arrow i from phase_at(i), graph 0 to phase_at(i), graph (k == 1 ? level - 0.03 : 1.0) nohead \
            linecolor rgb '#777777' dashtype 3 front
        if (k == 1 && i < n_phases) {
            set label 10 + i phase_name(i) at phase_at(i), graph level left textcolor rgb '#333333' front
        }
        if (k == 1 && i == n_phases) {
            set label 10 + i phase_name(i) at phase_at(i), graph level right textcolor rgb '#333333' front
        }
    }
    if (k == 3) {
        set label 20 "frames with the viewer stay" at phase_at(3), graph 0.91 offset 0.6 \
            font 'DejaVu Sans,11' textcolor rgb '#333333' front
    }
    plot data using ($1 * 1000):(column(owned) / MiB) with fillsteps linecolor rgb light[k] notitle, \
         data using ($1 * 1000):(column(used) / MiB) with fillsteps linecolor rgb full[k] notitle, \
         data using ($1 * 1000):(column(owned) / MiB) with steps linewidth 1.6 linecolor rgb full[k] notitle
    unset label
    unset arrow
}

# The legend tells where each curve comes from.
set tmargin at screen 0.96
set bmargin at screen 0.9
unset border; unset tics; unset grid; unset xlabel; unset ylabel
set xrange [0:1]
set yrange [0:1]
legend = 0.93
set style rectangle fillstyle solid 1 noborder
set object 30 rectangle from screen 0.076, legend - 0.007 to screen 0.094, legend + 0.007 fillcolor rgb '#444444'
set label 30 "in use: the demo's own marks; a reuse or release leaves none in the library's log" \
    at screen 0.1, legend font 'DejaVu Sans,11' textcolor rgb '#333333'
set object 31 rectangle from screen 0.520, legend - 0.007 to screen 0.538, legend + 0.007 fillcolor rgb '#cccccc'
set label 31 'idle: the rest' at screen 0.544, legend font 'DejaVu Sans,11' textcolor rgb '#333333'
set arrow 32 from screen 0.646, legend to screen 0.664, legend nohead linewidth 2 linecolor rgb '#444444'
set label 32 "owned: the library's lines on allocating and freeing memory" at screen 0.67, legend \
    font 'DejaVu Sans,11' textcolor rgb '#333333'
plot -1 notitle
unset multiplot
