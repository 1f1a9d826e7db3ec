#!/bin/sh
# One task of a Slurm job array: renders chunk number SLURM_ARRAY_TASK_ID of a shot, CHUNK frames
# long, into a folder every task shares. As many tasks as chunks:
#   sbatch --array=0-$(( (FRAMES + CHUNK - 1) / CHUNK - 1 )) render_chunk.sh SCENE OUTPUT CHUNK
# e.g. a 250-frame shot in chunks of 25 is tasks 0-9:
#   sbatch --array=0-9 render_chunk.sh shot.json /farm/shot/f_####.exr 25
# The last chunk may run past the shot's end: orbulon-render renders up to the last frame. A task
# that is run again skips the frames already there, and its log keeps every run.
#SBATCH --job-name=orbulon
#SBATCH --requeue
#SBATCH --open-mode=append
#SBATCH --output=orbulon_%A_%a.log
set -eu
chunk=${3:-25}
first=$((SLURM_ARRAY_TASK_ID * chunk))
exec orbulon-render "$1" --frames "$first-$((first + chunk - 1))" --skip-existing -o "$2"
