#!/usr/bin/env bash
# Tells snakemake how a SLURM job stands: prints running, success or failed for the job id that
# sbatch --parsable gave ("12345" or "12345;cluster").
id=${1%%;*}
state=$(sacct -j "$id" --format=State --noheader --parsable2 2>/dev/null | head -n 1)
if [ -z "$state" ]; then
  state=$(scontrol show job "$id" 2>/dev/null | sed -n 's/.*JobState=\([A-Z_]*\).*/\1/p')
fi
case "${state%% *}" in
  COMPLETED) echo success ;;
  ''|PENDING|CONFIGURING|RUNNING|COMPLETING|REQUEUED|RESIZING|SUSPENDED) echo running ;;
  *) echo failed ;;
esac
