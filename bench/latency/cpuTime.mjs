import { readdirSync, readFileSync } from 'node:fs';

const ticksPerSecond = 100;  // USER_HZ, which Linux shows to every program
const nanosecond = 1e-9;

// Of the threads that a process has now, finer than ticks; 0 where the kernel does not say.
function secondsOfThreads(process) {
  let sum = 0;
  try {
    for (const thread of readdirSync(`/proc/${process}/task`)) {
      const [ran] = readFileSync(`/proc/${process}/task/${thread}/schedstat`, 'utf8').split(' ');
      sum += Number(ran) * nanosecond;
    }
  } catch { /* it, or a thread, ended between the two looks */ }
  return sum;
}

function processes() {
  const found = [];
  for (const entry of readdirSync('/proc')) {
    if (!/^\d+$/.test(entry)) continue;
    try {
      const stat = readFileSync(`/proc/${entry}/stat`, 'utf8');
      // The name, in parentheses, may hold anything; the numbers follow its end.
      const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
      found.push({ id: Number(entry), parent: Number(fields[1]),
                   seconds: (Number(fields[11]) + Number(fields[12])) / ticksPerSecond });
    } catch {
      continue;  // it ended between the two looks
    }
  }
  return found;
}

// Seconds of processor time that these processes and their descendants have used.
export function cpuSeconds(ids) {
  const all = processes();
  const family = new Set(ids);
  for (let grown = true; grown;) {
    grown = false;
    for (const { id, parent } of all) {
      if (family.has(parent) && !family.has(id)) grown = Boolean(family.add(id));
    }
  }
  // Ticks also count the threads that have ended.
  return all.filter(({ id }) => family.has(id))
    .reduce((sum, { id, seconds }) => sum + Math.max(seconds, secondsOfThreads(id)), 0);
}
