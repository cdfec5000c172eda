// Shows the server's own counters on the page, and posts the form without leaving it.
"use strict";

// Adds up all samples of a metric, whatever their labels.
function sum(metrics, name) {
  return metrics.split("\n")
    .filter(line => line.startsWith(name + " ") || line.startsWith(name + "{"))
    .reduce((total, line) => total + Number(line.slice(line.lastIndexOf(" "))), 0);
}

async function showCounters() {
  try {
    const metrics = await (await fetch("/metrics")).text();
    for (const field of document.querySelectorAll("[data-metric]"))
      field.textContent = sum(metrics, field.dataset.metric).toLocaleString("en");
  } catch {
    // The server is gone or has no /metrics: what was shown last stays.
  }
}

async function post(event) {
  event.preventDefault();
  const form = event.target;
  const answer = document.getElementById("answer");
  try {
    const response = await fetch(form.action, { method: "POST", body: new URLSearchParams(new FormData(form)) });
    answer.textContent = await response.text();
  } catch (error) {
    answer.textContent = "no answer: " + error.message;
  }
}

document.getElementById("echo").addEventListener("submit", post);
showCounters();
setInterval(showCounters, 2000);
