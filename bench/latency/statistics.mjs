// The value below which `share` of `values` lie, interpolated; null without values.
export function quantile(values, share) {
  if (values.length === 0) return null;
  const sorted = [...values].sort((a, b) => a - b);
  const position = (sorted.length - 1) * share;
  const low = Math.floor(position);
  const high = Math.ceil(position);
  return sorted[low] + (sorted[high] - sorted[low]) * (position - low);
}

export const median = (values) => quantile(values, 0.5);

// What a person wants to know of a list of milliseconds.
export function summary(values) {
  const round = (value) => (value === null ? null : Math.round(value * 10) / 10);
  return {
    samples: values.length,
    medianMs: round(median(values)),
    p95Ms: round(quantile(values, 0.95)),
    leastMs: round(quantile(values, 0)),
  };
}
